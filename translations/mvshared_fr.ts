<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR" sourcelanguage="en">
<context>
    <name>Morvane</name>
    <message>
        <source>Success</source>
        <translation>Réussi</translation>
    </message>
    <message>
        <source>Not Defined</source>
        <translation>Non défini</translation>
    </message>
    <message>
        <source>Offline</source>
        <translation>Hors ligne</translation>
    </message>
    <message>
        <source>System</source>
        <translation>Système</translation>
    </message>
    <message>
        <source>Started</source>
        <translation>Démarré</translation>
    </message>
    <message>
        <source>Stopped</source>
        <translation>Arrêté</translation>
    </message>
    <message>
        <source>Unknown</source>
        <translation>Inconnu</translation>
    </message>
    <message>
        <source>Low Limit</source>
        <translation>Seuil bas</translation>
    </message>
    <message>
        <source>Hi Limit</source>
        <translation>Seuil haut</translation>
    </message>
    <message>
        <source>LoLow Limit</source>
        <translation>Seuil très bas</translation>
    </message>
    <message>
        <source>HiHi Limit</source>
        <translation>Seuil très haut</translation>
    </message>
    <message>
        <source>ROC</source>
        <translation>Taux de variation</translation>
    </message>
    <message>
        <source>Shutting down the driver&apos;s resources.</source>
        <translation>Libération des ressources du pilote.</translation>
    </message>
    <message>
        <source>Not Supported Function</source>
        <translation>Fonction non prise en charge</translation>
    </message>
    <message>
        <source>Device Travel</source>
        <translation>Appareil en position intermédiaire</translation>
    </message>
    <message>
        <source>Communication Error</source>
        <translation>Erreur de communication</translation>
    </message>
    <message>
        <source>No Response</source>
        <translation>Pas de réponse</translation>
    </message>
    <message>
        <source>Not Allowed Control</source>
        <translation>Commande non autorisée</translation>
    </message>
    <message>
        <source>UnknownDriver Error</source>
        <translation>Erreur de pilote inconnue</translation>
    </message>
    <message>
        <source>UnknownDriver Exception</source>
        <translation>Exception de pilote inconnue</translation>
    </message>
    <message>
        <source>NotMatched Target</source>
        <translation>Cible non concordante</translation>
    </message>
    <message>
        <source>Invaild Parameter</source>
        <translation>Paramètre non valide</translation>
    </message>
    <message>
        <source>FrameError</source>
        <translation>Erreur de trame</translation>
    </message>
    <message>
        <source>Undefined Error</source>
        <translation>Erreur non définie</translation>
    </message>
    <message>
        <source>Driver is offline</source>
        <translation>Le pilote est hors ligne</translation>
    </message>
    <message>
        <source>Control Executed. But Value is not changed</source>
        <translation>Commande exécutée. Mais la valeur n&apos;a pas changé</translation>
    </message>
    <message>
        <source>Invaild ErrorCode</source>
        <translation>Code d&apos;erreur non valide</translation>
    </message>
    <message>
        <source>Operation Exception</source>
        <translation>Exception lors de l&apos;opération</translation>
    </message>
    <message>
        <source>Server is not online</source>
        <translation>Le serveur n&apos;est pas en ligne</translation>
    </message>
    <message>
        <source>Naming Server is fail</source>
        <translation>Échec du serveur de noms</translation>
    </message>
    <message>
        <source>Integrity poll</source>
        <translation>Interrogation générale</translation>
    </message>
    <message>
        <source>Status poll</source>
        <translation>Interrogation des états</translation>
    </message>
    <message>
        <source>Analog poll</source>
        <translation>Interrogation des mesures</translation>
    </message>
    <message>
        <source>Device restart</source>
        <translation>Redémarrage de l&apos;équipement</translation>
    </message>
    <message>
        <source>Event poll</source>
        <translation>Interrogation des événements</translation>
    </message>
    <message>
        <source>Time synchronization</source>
        <translation>Synchronisation horaire</translation>
    </message>
    <message>
        <source>Counter poll</source>
        <translation>Interrogation des compteurs</translation>
    </message>
    <message>
        <source>Activate RTU</source>
        <translation>Activer l&apos;unité distante</translation>
    </message>
    <message>
        <source>Deactivate RTU</source>
        <translation>Désactiver l&apos;unité distante</translation>
    </message>
    <message>
        <source>Communication error consol</source>
        <translation>Erreur de communication console</translation>
    </message>
    <message>
        <source>Communication error manager</source>
        <translation>Erreur de communication gestionnaire</translation>
    </message>
    <message>
        <source>Driver restart</source>
        <translation>Redémarrage du pilote</translation>
    </message>
    <message>
        <source>Process Start</source>
        <translation>Démarrage du processus</translation>
    </message>
    <message>
        <source>Process already running</source>
        <translation>Processus déjà en cours d&apos;exécution</translation>
    </message>
    <message>
        <source>Process Unable to Start</source>
        <translation>Impossible de démarrer le processus</translation>
    </message>
    <message>
        <source>App path is incorrect</source>
        <translation>Chemin de l&apos;application incorrect</translation>
    </message>
    <message>
        <source>Failed to create process</source>
        <translation>Échec de la création du processus</translation>
    </message>
    <message>
        <source>No reason</source>
        <translation>Aucune raison</translation>
    </message>
    <message>
        <source>By user</source>
        <translation>Par l&apos;opérateur</translation>
    </message>
    <message>
        <source>By system</source>
        <translation>Par le système</translation>
    </message>
    <message>
        <source>Failed to DB connection</source>
        <translation>Échec de la connexion à la base de données</translation>
    </message>
    <message>
        <source>Failed to initialize communication</source>
        <translation>Échec de l&apos;initialisation de la communication</translation>
    </message>
    <message>
        <source>RTU connection is offline</source>
        <translation>Liaison avec l&apos;unité distante hors ligne</translation>
    </message>
    <message>
        <source>Other initialization failed</source>
        <translation>Échec d&apos;une autre initialisation</translation>
    </message>
    <message>
        <source>Scada Server connection failure</source>
        <translation>Échec de la connexion au serveur SCADA</translation>
    </message>
    <message>
        <source>There is a problem with the database connection.</source>
        <translation>La connexion à la base de données présente un problème.</translation>
    </message>
    <message>
        <source>Unable to find protocol plug-ins.</source>
        <translation>Modules de protocole introuvables.</translation>
    </message>
    <message>
        <source>There is a problem with the server.</source>
        <translation>Le serveur présente un problème.</translation>
    </message>
    <message>
        <source>Primary</source>
        <translation>Principal</translation>
    </message>
    <message>
        <source>Secondary</source>
        <translation>Secours</translation>
    </message>
    <message>
        <source>Driver</source>
        <translation>Pilote</translation>
    </message>
    <message>
        <source>Middleware</source>
        <translation>Intergiciel</translation>
    </message>
    <message>
        <source>Online</source>
        <translation>En ligne</translation>
    </message>
    <message>
        <source>Disabled</source>
        <translation>Désactivé</translation>
    </message>
    <message>
        <source>Enabled</source>
        <translation>Activé</translation>
    </message>
    <message>
        <source>1st</source>
        <translation>1er</translation>
    </message>
    <message>
        <source>2nd</source>
        <translation>2e</translation>
    </message>
    <message>
        <source>3rd</source>
        <translation>3e</translation>
    </message>
    <message>
        <source>4th</source>
        <translation>4e</translation>
    </message>
    <message>
        <source>5th</source>
        <translation>5e</translation>
    </message>
    <message>
        <source>6th</source>
        <translation>6e</translation>
    </message>
    <message>
        <source>7th</source>
        <translation>7e</translation>
    </message>
    <message>
        <source>8th</source>
        <translation>8e</translation>
    </message>
    <message>
        <source>9th</source>
        <translation>9e</translation>
    </message>
    <message>
        <source>10th</source>
        <translation>10e</translation>
    </message>
    <message>
        <source>11th</source>
        <translation>11e</translation>
    </message>
    <message>
        <source>12th</source>
        <translation>12e</translation>
    </message>
    <message>
        <source>13th</source>
        <translation>13e</translation>
    </message>
    <message>
        <source>14th</source>
        <translation>14e</translation>
    </message>
    <message>
        <source>15th</source>
        <translation>15e</translation>
    </message>
    <message>
        <source>16th</source>
        <translation>16e</translation>
    </message>
    <message>
        <source>17th</source>
        <translation>17e</translation>
    </message>
    <message>
        <source>18th</source>
        <translation>18e</translation>
    </message>
    <message>
        <source>19th</source>
        <translation>19e</translation>
    </message>
    <message>
        <source>20th</source>
        <translation>20e</translation>
    </message>
    <message>
        <source>21st</source>
        <translation>21e</translation>
    </message>
    <message>
        <source>22nd</source>
        <translation>22e</translation>
    </message>
    <message>
        <source>23rd</source>
        <translation>23e</translation>
    </message>
    <message>
        <source>24th</source>
        <translation>24e</translation>
    </message>
    <message>
        <source>25th</source>
        <translation>25e</translation>
    </message>
    <message>
        <source>26th</source>
        <translation>26e</translation>
    </message>
    <message>
        <source>27th</source>
        <translation>27e</translation>
    </message>
    <message>
        <source>28th</source>
        <translation>28e</translation>
    </message>
    <message>
        <source>29th</source>
        <translation>29e</translation>
    </message>
    <message>
        <source>30th</source>
        <translation>30e</translation>
    </message>
    <message>
        <source>31st</source>
        <translation>31e</translation>
    </message>
    <message>
        <source>Moment Value</source>
        <translation>Valeur instantanée</translation>
    </message>
    <message>
        <source>Maximum Value</source>
        <translation>Valeur maximale</translation>
    </message>
    <message>
        <source>Minimum Value</source>
        <translation>Valeur minimale</translation>
    </message>
    <message>
        <source>Average Value</source>
        <translation>Valeur moyenne</translation>
    </message>
    <message>
        <source>Delta Value</source>
        <translation>Valeur différentielle</translation>
    </message>
    <message>
        <source>Last Value</source>
        <translation>Dernière valeur</translation>
    </message>
    <message>
        <source>On Count</source>
        <translation>Nombre de mises en marche</translation>
    </message>
    <message>
        <source>Off Count</source>
        <translation>Nombre d&apos;arrêts</translation>
    </message>
    <message>
        <source>On Duration</source>
        <translation>Durée de marche</translation>
    </message>
    <message>
        <source>Off Duration</source>
        <translation>Durée d&apos;arrêt</translation>
    </message>
</context>
<context>
    <name>MorvaneRTServerSetting</name>
    <message>
        <source>Server Address Setting</source>
        <translation>Réglage des adresses des serveurs</translation>
    </message>
    <message>
        <source> Address Setting</source>
        <translation> Réglage des adresses</translation>
    </message>
    <message>
        <source>Server1 Address:</source>
        <translation>Adresse du serveur 1 :</translation>
    </message>
    <message>
        <source>Server2 Address:</source>
        <translation>Adresse du serveur 2 :</translation>
    </message>
</context>
<context>
    <name>RemoteCommandReply</name>
    <message>
        <source>Command cancelled</source>
        <translation>Commande annulée</translation>
    </message>
</context>
<context>
    <name>ScadaRuntimeInterface</name>
    <message>
        <source>Control Inhabit tagged</source>
        <translation>Verrouillage de commande posé</translation>
    </message>
    <message>
        <source>Middleware is dead</source>
        <translation>L&apos;intergiciel ne répond plus</translation>
    </message>
    <message>
        <source>%1 is control inhabit tagged</source>
        <translation>%1 porte un verrouillage de commande</translation>
    </message>
    <message>
        <source>Driver is offline</source>
        <translation>Le pilote est hors ligne</translation>
    </message>
    <message>
        <source>Invaild</source>
        <translation>Non valide</translation>
    </message>
</context>
</TS>
