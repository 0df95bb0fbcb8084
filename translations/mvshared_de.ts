<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>Morvane</name>
    <message>
        <source>Success</source>
        <translation>Erfolgreich</translation>
    </message>
    <message>
        <source>Not Defined</source>
        <translation>Nicht definiert</translation>
    </message>
    <message>
        <source>Offline</source>
        <translation>Außer Betrieb</translation>
    </message>
    <message>
        <source>System</source>
        <translation>Leitsystem</translation>
    </message>
    <message>
        <source>Started</source>
        <translation>Gestartet</translation>
    </message>
    <message>
        <source>Stopped</source>
        <translation>Gestoppt</translation>
    </message>
    <message>
        <source>Unknown</source>
        <translation>Unbekannt</translation>
    </message>
    <message>
        <source>Low Limit</source>
        <translation>Warngrenze unten</translation>
    </message>
    <message>
        <source>Hi Limit</source>
        <translation>Warngrenze oben</translation>
    </message>
    <message>
        <source>LoLow Limit</source>
        <translation>Alarmgrenze unten</translation>
    </message>
    <message>
        <source>HiHi Limit</source>
        <translation>Alarmgrenze oben</translation>
    </message>
    <message>
        <source>ROC</source>
        <translation>Gradient</translation>
    </message>
    <message>
        <source>Shutting down the driver&apos;s resources.</source>
        <translation>Die Ressourcen des Treibers werden freigegeben.</translation>
    </message>
    <message>
        <source>Not Supported Function</source>
        <translation>Funktion nicht unterstützt</translation>
    </message>
    <message>
        <source>Device Travel</source>
        <translation>Gerät in Zwischenstellung</translation>
    </message>
    <message>
        <source>Communication Error</source>
        <translation>Kommunikationsfehler</translation>
    </message>
    <message>
        <source>No Response</source>
        <translation>Keine Antwort</translation>
    </message>
    <message>
        <source>Not Allowed Control</source>
        <translation>Steuerung nicht zulässig</translation>
    </message>
    <message>
        <source>UnknownDriver Error</source>
        <translation>Unbekannter Treiberfehler</translation>
    </message>
    <message>
        <source>UnknownDriver Exception</source>
        <translation>Unbekannte Treiberausnahme</translation>
    </message>
    <message>
        <source>NotMatched Target</source>
        <translation>Ziel stimmt nicht überein</translation>
    </message>
    <message>
        <source>Invaild Parameter</source>
        <translation>Ungültiger Parameter</translation>
    </message>
    <message>
        <source>FrameError</source>
        <translation>Telegrammfehler</translation>
    </message>
    <message>
        <source>Undefined Error</source>
        <translation>Undefinierter Fehler</translation>
    </message>
    <message>
        <source>Driver is offline</source>
        <translation>Treiber ist außer Betrieb</translation>
    </message>
    <message>
        <source>Control Executed. But Value is not changed</source>
        <translation>Befehl ausgeführt. Der Wert hat sich aber nicht geändert</translation>
    </message>
    <message>
        <source>Invaild ErrorCode</source>
        <translation>Ungültiger Fehlercode</translation>
    </message>
    <message>
        <source>Operation Exception</source>
        <translation>Ausnahme bei der Ausführung</translation>
    </message>
    <message>
        <source>Server is not online</source>
        <translation>Server ist nicht in Betrieb</translation>
    </message>
    <message>
        <source>Naming Server is fail</source>
        <translation>Namensserver ausgefallen</translation>
    </message>
    <message>
        <source>Integrity poll</source>
        <translation>Generalabfrage</translation>
    </message>
    <message>
        <source>Status poll</source>
        <translation>Meldungsabfrage</translation>
    </message>
    <message>
        <source>Analog poll</source>
        <translation>Messwertabfrage</translation>
    </message>
    <message>
        <source>Device restart</source>
        <translation>Geräteneustart</translation>
    </message>
    <message>
        <source>Event poll</source>
        <translation>Ereignisabfrage</translation>
    </message>
    <message>
        <source>Time synchronization</source>
        <translation>Uhrzeitsynchronisation</translation>
    </message>
    <message>
        <source>Counter poll</source>
        <translation>Zählwertabfrage</translation>
    </message>
    <message>
        <source>Activate RTU</source>
        <translation>Fernwirkstation aktivieren</translation>
    </message>
    <message>
        <source>Deactivate RTU</source>
        <translation>Fernwirkstation deaktivieren</translation>
    </message>
    <message>
        <source>Communication error consol</source>
        <translation>Kommunikationsfehler Konsole</translation>
    </message>
    <message>
        <source>Communication error manager</source>
        <translation>Kommunikationsfehler Prozessmanager</translation>
    </message>
    <message>
        <source>Driver restart</source>
        <translation>Treiberneustart</translation>
    </message>
    <message>
        <source>Process Start</source>
        <translation>Prozessstart</translation>
    </message>
    <message>
        <source>Process already running</source>
        <translation>Prozess läuft bereits</translation>
    </message>
    <message>
        <source>Process Unable to Start</source>
        <translation>Prozess kann nicht gestartet werden</translation>
    </message>
    <message>
        <source>App path is incorrect</source>
        <translation>Programmpfad ist falsch</translation>
    </message>
    <message>
        <source>Failed to create process</source>
        <translation>Prozess konnte nicht erzeugt werden</translation>
    </message>
    <message>
        <source>No reason</source>
        <translation>Ohne Grund</translation>
    </message>
    <message>
        <source>By user</source>
        <translation>Durch Bediener</translation>
    </message>
    <message>
        <source>By system</source>
        <translation>Durch das Leitsystem</translation>
    </message>
    <message>
        <source>Failed to DB connection</source>
        <translation>Datenbankverbindung fehlgeschlagen</translation>
    </message>
    <message>
        <source>Failed to initialize communication</source>
        <translation>Kommunikation konnte nicht initialisiert werden</translation>
    </message>
    <message>
        <source>RTU connection is offline</source>
        <translation>Verbindung zur Fernwirkstation unterbrochen</translation>
    </message>
    <message>
        <source>Other initialization failed</source>
        <translation>Sonstige Initialisierung fehlgeschlagen</translation>
    </message>
    <message>
        <source>Scada Server connection failure</source>
        <translation>Verbindung zum Leitsystemserver gestört</translation>
    </message>
    <message>
        <source>There is a problem with the database connection.</source>
        <translation>Die Datenbankverbindung ist gestört.</translation>
    </message>
    <message>
        <source>Unable to find protocol plug-ins.</source>
        <translation>Die Protokoll-Plug-ins wurden nicht gefunden.</translation>
    </message>
    <message>
        <source>There is a problem with the server.</source>
        <translation>Der Server ist gestört.</translation>
    </message>
    <message>
        <source>Primary</source>
        <translation>Primär</translation>
    </message>
    <message>
        <source>Secondary</source>
        <translation>Sekundär</translation>
    </message>
    <message>
        <source>Driver</source>
        <translation>Treiber</translation>
    </message>
    <message>
        <source>Middleware</source>
        <translation>Middleware-Dienst</translation>
    </message>
    <message>
        <source>Online</source>
        <translation>In Betrieb</translation>
    </message>
    <message>
        <source>Disabled</source>
        <translation>Deaktiviert</translation>
    </message>
    <message>
        <source>Enabled</source>
        <translation>Aktiviert</translation>
    </message>
    <message>
        <source>1st</source>
        <translation>1.</translation>
    </message>
    <message>
        <source>2nd</source>
        <translation>2.</translation>
    </message>
    <message>
        <source>3rd</source>
        <translation>3.</translation>
    </message>
    <message>
        <source>4th</source>
        <translation>4.</translation>
    </message>
    <message>
        <source>5th</source>
        <translation>5.</translation>
    </message>
    <message>
        <source>6th</source>
        <translation>6.</translation>
    </message>
    <message>
        <source>7th</source>
        <translation>7.</translation>
    </message>
    <message>
        <source>8th</source>
        <translation>8.</translation>
    </message>
    <message>
        <source>9th</source>
        <translation>9.</translation>
    </message>
    <message>
        <source>10th</source>
        <translation>10.</translation>
    </message>
    <message>
        <source>11th</source>
        <translation>11.</translation>
    </message>
    <message>
        <source>12th</source>
        <translation>12.</translation>
    </message>
    <message>
        <source>13th</source>
        <translation>13.</translation>
    </message>
    <message>
        <source>14th</source>
        <translation>14.</translation>
    </message>
    <message>
        <source>15th</source>
        <translation>15.</translation>
    </message>
    <message>
        <source>16th</source>
        <translation>16.</translation>
    </message>
    <message>
        <source>17th</source>
        <translation>17.</translation>
    </message>
    <message>
        <source>18th</source>
        <translation>18.</translation>
    </message>
    <message>
        <source>19th</source>
        <translation>19.</translation>
    </message>
    <message>
        <source>20th</source>
        <translation>20.</translation>
    </message>
    <message>
        <source>21st</source>
        <translation>21.</translation>
    </message>
    <message>
        <source>22nd</source>
        <translation>22.</translation>
    </message>
    <message>
        <source>23rd</source>
        <translation>23.</translation>
    </message>
    <message>
        <source>24th</source>
        <translation>24.</translation>
    </message>
    <message>
        <source>25th</source>
        <translation>25.</translation>
    </message>
    <message>
        <source>26th</source>
        <translation>26.</translation>
    </message>
    <message>
        <source>27th</source>
        <translation>27.</translation>
    </message>
    <message>
        <source>28th</source>
        <translation>28.</translation>
    </message>
    <message>
        <source>29th</source>
        <translation>29.</translation>
    </message>
    <message>
        <source>30th</source>
        <translation>30.</translation>
    </message>
    <message>
        <source>31st</source>
        <translation>31.</translation>
    </message>
    <message>
        <source>Moment Value</source>
        <translation>Momentanwert</translation>
    </message>
    <message>
        <source>Maximum Value</source>
        <translation>Maximalwert</translation>
    </message>
    <message>
        <source>Minimum Value</source>
        <translation>Minimalwert</translation>
    </message>
    <message>
        <source>Average Value</source>
        <translation>Mittelwert</translation>
    </message>
    <message>
        <source>Delta Value</source>
        <translation>Differenzwert</translation>
    </message>
    <message>
        <source>Last Value</source>
        <translation>Letzter Wert</translation>
    </message>
    <message>
        <source>On Count</source>
        <translation>Anzahl Einschaltungen</translation>
    </message>
    <message>
        <source>Off Count</source>
        <translation>Anzahl Ausschaltungen</translation>
    </message>
    <message>
        <source>On Duration</source>
        <translation>Einschaltdauer</translation>
    </message>
    <message>
        <source>Off Duration</source>
        <translation>Ausschaltdauer</translation>
    </message>
</context>
<context>
    <name>MorvaneRTServerSetting</name>
    <message>
        <source>Server Address Setting</source>
        <translation>Einstellung der Serveradressen</translation>
    </message>
    <message>
        <source> Address Setting</source>
        <translation> Adresseinstellung</translation>
    </message>
    <message>
        <source>Server1 Address:</source>
        <translation>Adresse Server 1:</translation>
    </message>
    <message>
        <source>Server2 Address:</source>
        <translation>Adresse Server 2:</translation>
    </message>
</context>
<context>
    <name>RemoteCommandReply</name>
    <message>
        <source>Command cancelled</source>
        <translation>Befehl abgebrochen</translation>
    </message>
</context>
<context>
    <name>ScadaRuntimeInterface</name>
    <message>
        <source>Control Inhabit tagged</source>
        <translation>Steuersperre gesetzt</translation>
    </message>
    <message>
        <source>Middleware is dead</source>
        <translation>Middleware-Dienst ausgefallen</translation>
    </message>
    <message>
        <source>%1 is control inhabit tagged</source>
        <translation>%1 hat eine Steuersperre</translation>
    </message>
    <message>
        <source>Driver is offline</source>
        <translation>Treiber ist außer Betrieb</translation>
    </message>
    <message>
        <source>Invaild</source>
        <translation>Ungültig</translation>
    </message>
</context>
</TS>
