<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR" sourcelanguage="en">
<context>
    <name>ConsoleWindow</name>
    <message>
        <source>Control inhibit</source>
        <translation>Verrouillage de commande</translation>
    </message>
    <message>
        <source>Out of service</source>
        <translation>Hors service</translation>
    </message>
    <message>
        <source>Maintenance</source>
        <translation>Maintenance</translation>
    </message>
    <message>
        <source>Operator console</source>
        <translation>Console opérateur</translation>
    </message>
    <message>
        <source>Filter points</source>
        <translation>Filtrer les points</translation>
    </message>
    <message>
        <source>&amp;Point</source>
        <translation>&amp;Point</translation>
    </message>
    <message>
        <source>Point</source>
        <translation>Point</translation>
    </message>
    <message>
        <source>Control...</source>
        <translation>Commander...</translation>
    </message>
    <message>
        <source>Replace value...</source>
        <translation>Remplacer la valeur...</translation>
    </message>
    <message>
        <source>Release value</source>
        <translation>Libérer la valeur</translation>
    </message>
    <message>
        <source>Apply tag</source>
        <translation>Poser une étiquette</translation>
    </message>
    <message>
        <source>Remove tag</source>
        <translation>Retirer une étiquette</translation>
    </message>
    <message>
        <source>&amp;Server</source>
        <translation>&amp;Serveur</translation>
    </message>
    <message>
        <source>Server address...</source>
        <translation>Adresse du serveur...</translation>
    </message>
    <message>
        <source>the runtime server holds no plant</source>
        <translation>le serveur d&apos;exécution ne contient aucune installation</translation>
    </message>
    <message>
        <source>Cannot read the plant: %1</source>
        <translation>Impossible de lire l&apos;installation : %1</translation>
    </message>
    <message>
        <source>Replace value</source>
        <translation>Remplacer la valeur</translation>
    </message>
    <message>
        <source>replacing the value of</source>
        <translation>remplacement de la valeur de</translation>
    </message>
    <message>
        <source>releasing the value of</source>
        <translation>libération de la valeur de</translation>
    </message>
    <message>
        <source>tagging</source>
        <translation>étiquetage de</translation>
    </message>
    <message>
        <source>removing a tag of</source>
        <translation>retrait d&apos;une étiquette de</translation>
    </message>
    <message>
        <source>Connected</source>
        <translation>Connecté</translation>
    </message>
    <message>
        <source>Not connected</source>
        <translation>Non connecté</translation>
    </message>
    <message>
        <source>Server: %1</source>
        <translation>Serveur : %1</translation>
    </message>
    <message>
        <source>%1 changes/s</source>
        <translation>%1 changements/s</translation>
    </message>
</context>
<context>
    <name>ControlDialog</name>
    <message>
        <source>Answered by the driver</source>
        <translation>Réponse du pilote</translation>
    </message>
    <message>
        <source>Middleware failure</source>
        <translation>Défaillance de l&apos;intergiciel</translation>
    </message>
    <message>
        <source>Refused: control inhibit tag</source>
        <translation>Refusé : verrouillage de commande</translation>
    </message>
    <message>
        <source>Sent without confirmation</source>
        <translation>Envoyé sans confirmation</translation>
    </message>
    <message>
        <source>Cancelled</source>
        <translation>Annulé</translation>
    </message>
    <message>
        <source>Control %1</source>
        <translation>Commande de %1</translation>
    </message>
    <message>
        <source>Point:</source>
        <translation>Point :</translation>
    </message>
    <message>
        <source>unknown point %1</source>
        <translation>point inconnu %1</translation>
    </message>
    <message>
        <source>Driver:</source>
        <translation>Pilote :</translation>
    </message>
    <message>
        <source>none</source>
        <translation>aucun</translation>
    </message>
    <message>
        <source>Set-point:</source>
        <translation>Consigne :</translation>
    </message>
    <message>
        <source>Send set-point</source>
        <translation>Envoyer la consigne</translation>
    </message>
    <message>
        <source>Poll remote unit</source>
        <translation>Interroger l&apos;unité distante</translation>
    </message>
    <message>
        <source>Cancel control</source>
        <translation>Annuler la commande</translation>
    </message>
    <message>
        <source>State:</source>
        <translation>État :</translation>
    </message>
    <message>
        <source>Result:</source>
        <translation>Résultat :</translation>
    </message>
    <message>
        <source>Code:</source>
        <translation>Code :</translation>
    </message>
    <message>
        <source>Message:</source>
        <translation>Message :</translation>
    </message>
    <message>
        <source>Unknown result kind %1</source>
        <translation>Type de résultat inconnu %1</translation>
    </message>
    <message>
        <source>Sending set-point %1</source>
        <translation>Envoi de la consigne %1</translation>
    </message>
    <message>
        <source>Polling remote unit %1</source>
        <translation>Interrogation de l&apos;unité distante %1</translation>
    </message>
    <message>
        <source>%1: waiting for Driver%2 to answer...</source>
        <translation>%1 : attente de la réponse de Driver%2...</translation>
    </message>
    <message>
        <source>%1 s left</source>
        <translation>encore %1 s</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Terminé</translation>
    </message>
</context>
<context>
    <name>PointBrowser</name>
    <message>
        <source>Point</source>
        <translation>Point</translation>
    </message>
    <message>
        <source>Kind</source>
        <translation>Type</translation>
    </message>
    <message>
        <source>Id</source>
        <translation>Id</translation>
    </message>
    <message>
        <source>Remote unit</source>
        <translation>Unité distante</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>État</translation>
    </message>
    <message>
        <source>Analog</source>
        <translation>Mesure</translation>
    </message>
    <message>
        <source>Text</source>
        <translation>Texte</translation>
    </message>
</context>
<context>
    <name>PointTableModel</name>
    <message>
        <source>Control inhibit</source>
        <translation>Verrouillage de commande</translation>
    </message>
    <message>
        <source>Out of service</source>
        <translation>Hors service</translation>
    </message>
    <message>
        <source>Maintenance</source>
        <translation>Maintenance</translation>
    </message>
    <message>
        <source>Point</source>
        <translation>Point</translation>
    </message>
    <message>
        <source>Kind</source>
        <translation>Type</translation>
    </message>
    <message>
        <source>Value</source>
        <translation>Valeur</translation>
    </message>
    <message>
        <source>Quality</source>
        <translation>Qualité</translation>
    </message>
    <message>
        <source>Tags</source>
        <translation>Étiquettes</translation>
    </message>
    <message>
        <source>Last change</source>
        <translation>Dernier changement</translation>
    </message>
    <message>
        <source>Replaced by hand</source>
        <translation>Remplacé manuellement</translation>
    </message>
    <message>
        <source>Good</source>
        <translation>Bonne</translation>
    </message>
</context>
</TS>
