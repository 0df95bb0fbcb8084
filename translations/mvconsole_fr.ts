<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR" sourcelanguage="en">
<context>
    <name>AlarmModel</name>
    <message>
        <source>Time</source>
        <translation>Heure</translation>
    </message>
    <message>
        <source>Point</source>
        <translation>Point</translation>
    </message>
    <message>
        <source>Alarm</source>
        <translation>Alarme</translation>
    </message>
    <message>
        <source>State/value</source>
        <translation>État/valeur</translation>
    </message>
    <message>
        <source>Priority</source>
        <translation>Priorité</translation>
    </message>
    <message>
        <source>Acknowledgement</source>
        <translation>Acquittement</translation>
    </message>
    <message>
        <source>Acknowledged by %1</source>
        <translation>Acquittée par %1</translation>
    </message>
    <message>
        <source>Returned to normal, unacknowledged</source>
        <translation>Revenue à la normale, non acquittée</translation>
    </message>
    <message>
        <source>Unacknowledged</source>
        <translation>Non acquittée</translation>
    </message>
</context>
<context>
    <name>AlarmRules</name>
    <message>
        <source>Urgent</source>
        <translation>Urgente</translation>
    </message>
    <message>
        <source>High</source>
        <translation>Haute</translation>
    </message>
    <message>
        <source>Low</source>
        <translation>Basse</translation>
    </message>
    <message>
        <source>State %1 (normal %2)</source>
        <translation>État %1 (normal %2)</translation>
    </message>
    <message>
        <source>Normal</source>
        <translation>Normal</translation>
    </message>
</context>
<context>
    <name>AlarmView</name>
    <message>
        <source>Acknowledge</source>
        <translation>Acquitter</translation>
    </message>
    <message>
        <source>Acknowledge all</source>
        <translation>Tout acquitter</translation>
    </message>
    <message>
        <source>%1 alarms, %2 unacknowledged</source>
        <translation>%1 alarmes, %2 non acquittées</translation>
    </message>
</context>
<context>
    <name>ConsoleNotification</name>
    <message>
        <source>Data changed (target %1): %2</source>
        <translation>Données modifiées (cible %1) : %2</translation>
    </message>
    <message>
        <source>Data changed (target %1)</source>
        <translation>Données modifiées (cible %1)</translation>
    </message>
    <message>
        <source>Alarms acknowledged by %1: %2</source>
        <translation>Alarmes acquittées par %1 : %2</translation>
    </message>
    <message>
        <source>Runtime server restarted</source>
        <translation>Serveur d’exploitation redémarré</translation>
    </message>
    <message>
        <source>Refresh requested (target %1): %2</source>
        <translation>Rafraîchissement demandé (cible %1) : %2</translation>
    </message>
    <message>
        <source>Refresh requested (target %1)</source>
        <translation>Rafraîchissement demandé (cible %1)</translation>
    </message>
    <message>
        <source>User %1 logged on or off (state %2)</source>
        <translation>Utilisateur %1 connecté ou déconnecté (état %2)</translation>
    </message>
    <message>
        <source>Report %1 requested (%2)</source>
        <translation>Rapport %1 demandé (%2)</translation>
    </message>
    <message>
        <source>Canvas opened in a session</source>
        <translation>Vue ouverte dans une session</translation>
    </message>
    <message>
        <source>Statistics reset (target %1): %2</source>
        <translation>Statistiques remises à zéro (cible %1) : %2</translation>
    </message>
    <message>
        <source>Statistics reset (target %1)</source>
        <translation>Statistiques remises à zéro (cible %1)</translation>
    </message>
    <message>
        <source>Limits changed: %1</source>
        <translation>Seuils modifiés : %1</translation>
    </message>
    <message>
        <source>Canvas closed in a session</source>
        <translation>Vue fermée dans une session</translation>
    </message>
    <message>
        <source>Script run in a session</source>
        <translation>Script exécuté dans une session</translation>
    </message>
    <message>
        <source>System options changed</source>
        <translation>Options système modifiées</translation>
    </message>
    <message>
        <source>Notification %1</source>
        <translation>Notification %1</translation>
    </message>
</context>
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
    <message>
        <source>Not trended: %1</source>
        <translation>Pas de tendance : %1</translation>
    </message>
    <message>
        <source>Alarms and events</source>
        <translation>Alarmes et événements</translation>
    </message>
    <message>
        <source>Log</source>
        <translation>Journal</translation>
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
    <name>EventListModel</name>
    <message>
        <source>Time</source>
        <translation>Heure</translation>
    </message>
    <message>
        <source>Event</source>
        <translation>Événement</translation>
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
    <message>
        <source>Bad quality</source>
        <translation>Qualité mauvaise</translation>
    </message>
    <message>
        <source>Quality: %1</source>
        <translation>Qualité : %1</translation>
    </message>
    <message>
        <source>Tags: %1</source>
        <translation>Étiquettes : %1</translation>
    </message>
</context>
<context>
    <name>TrendModel</name>
    <message>
        <source>1 min</source>
        <translation>1 min</translation>
    </message>
    <message>
        <source>10 min</source>
        <translation>10 min</translation>
    </message>
    <message>
        <source>1 h</source>
        <translation>1 h</translation>
    </message>
</context>
<context>
    <name>TrendView</name>
    <message>
        <source>Clear</source>
        <translation>Effacer</translation>
    </message>
    <message>
        <source>Drop analog points here</source>
        <translation>Déposez des points analogiques ici</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Heure</translation>
    </message>
    <message>
        <source>Window:</source>
        <translation>Fenêtre :</translation>
    </message>
    <message>
        <source>the point cannot be read</source>
        <translation>le point ne peut pas être lu</translation>
    </message>
    <message>
        <source>the point is in the trend already</source>
        <translation>le point est déjà dans la tendance</translation>
    </message>
    <message>
        <source>only analog points have trends</source>
        <translation>seuls les points analogiques ont des tendances</translation>
    </message>
    <message>
        <source>%1 limit %2</source>
        <translation>%1 seuil %2</translation>
    </message>
    <message>
        <source>the payload names no point the server knows</source>
        <translation>les données ne désignent aucun point connu du serveur</translation>
    </message>
</context>
</TS>
