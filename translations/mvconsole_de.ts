<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>AlarmModel</name>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
    <message>
        <source>Point</source>
        <translation>Datenpunkt</translation>
    </message>
    <message>
        <source>Alarm</source>
        <translation>Alarm</translation>
    </message>
    <message>
        <source>State/value</source>
        <translation>Zustand/Wert</translation>
    </message>
    <message>
        <source>Priority</source>
        <translation>Priorität</translation>
    </message>
    <message>
        <source>Acknowledgement</source>
        <translation>Quittierung</translation>
    </message>
    <message>
        <source>Acknowledged by %1</source>
        <translation>Quittiert von %1</translation>
    </message>
    <message>
        <source>Returned to normal, unacknowledged</source>
        <translation>In Normallage zurück, nicht quittiert</translation>
    </message>
    <message>
        <source>Unacknowledged</source>
        <translation>Nicht quittiert</translation>
    </message>
</context>
<context>
    <name>AlarmRules</name>
    <message>
        <source>Urgent</source>
        <translation>Dringend</translation>
    </message>
    <message>
        <source>High</source>
        <translation>Hoch</translation>
    </message>
    <message>
        <source>Low</source>
        <translation>Niedrig</translation>
    </message>
    <message>
        <source>State %1 (normal %2)</source>
        <translation>Zustand %1 (Normallage %2)</translation>
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
        <translation>Quittieren</translation>
    </message>
    <message>
        <source>Acknowledge all</source>
        <translation>Alle quittieren</translation>
    </message>
    <message>
        <source>%1 alarms, %2 unacknowledged</source>
        <translation>%1 Alarme, %2 nicht quittiert</translation>
    </message>
</context>
<context>
    <name>ConsoleNotification</name>
    <message>
        <source>Data changed (target %1): %2</source>
        <translation>Daten geändert (Ziel %1): %2</translation>
    </message>
    <message>
        <source>Data changed (target %1)</source>
        <translation>Daten geändert (Ziel %1)</translation>
    </message>
    <message>
        <source>Alarms acknowledged by %1: %2</source>
        <translation>Alarme quittiert von %1: %2</translation>
    </message>
    <message>
        <source>Runtime server restarted</source>
        <translation>Laufzeitserver neu gestartet</translation>
    </message>
    <message>
        <source>Refresh requested (target %1): %2</source>
        <translation>Aktualisierung angefordert (Ziel %1): %2</translation>
    </message>
    <message>
        <source>Refresh requested (target %1)</source>
        <translation>Aktualisierung angefordert (Ziel %1)</translation>
    </message>
    <message>
        <source>User %1 logged on or off (state %2)</source>
        <translation>Benutzer %1 an- oder abgemeldet (Zustand %2)</translation>
    </message>
    <message>
        <source>Report %1 requested (%2)</source>
        <translation>Bericht %1 angefordert (%2)</translation>
    </message>
    <message>
        <source>Canvas opened in a session</source>
        <translation>Bild in einer Sitzung geöffnet</translation>
    </message>
    <message>
        <source>Statistics reset (target %1): %2</source>
        <translation>Statistik zurückgesetzt (Ziel %1): %2</translation>
    </message>
    <message>
        <source>Statistics reset (target %1)</source>
        <translation>Statistik zurückgesetzt (Ziel %1)</translation>
    </message>
    <message>
        <source>Limits changed: %1</source>
        <translation>Grenzwerte geändert: %1</translation>
    </message>
    <message>
        <source>Canvas closed in a session</source>
        <translation>Bild in einer Sitzung geschlossen</translation>
    </message>
    <message>
        <source>Script run in a session</source>
        <translation>Skript in einer Sitzung ausgeführt</translation>
    </message>
    <message>
        <source>System options changed</source>
        <translation>Systemoptionen geändert</translation>
    </message>
    <message>
        <source>Notification %1</source>
        <translation>Meldung %1</translation>
    </message>
</context>
<context>
    <name>ConsoleWindow</name>
    <message>
        <source>Control inhibit</source>
        <translation>Steuersperre</translation>
    </message>
    <message>
        <source>Out of service</source>
        <translation>Außer Betrieb</translation>
    </message>
    <message>
        <source>Maintenance</source>
        <translation>Wartung</translation>
    </message>
    <message>
        <source>Operator console</source>
        <translation>Bedienplatz</translation>
    </message>
    <message>
        <source>Filter points</source>
        <translation>Datenpunkte filtern</translation>
    </message>
    <message>
        <source>&amp;Point</source>
        <translation>&amp;Datenpunkt</translation>
    </message>
    <message>
        <source>Point</source>
        <translation>Datenpunkt</translation>
    </message>
    <message>
        <source>Control...</source>
        <translation>Steuern...</translation>
    </message>
    <message>
        <source>Replace value...</source>
        <translation>Wert ersetzen...</translation>
    </message>
    <message>
        <source>Release value</source>
        <translation>Wert freigeben</translation>
    </message>
    <message>
        <source>Apply tag</source>
        <translation>Kennzeichnung setzen</translation>
    </message>
    <message>
        <source>Remove tag</source>
        <translation>Kennzeichnung entfernen</translation>
    </message>
    <message>
        <source>&amp;Server</source>
        <translation>&amp;Server</translation>
    </message>
    <message>
        <source>Server address...</source>
        <translation>Serveradresse...</translation>
    </message>
    <message>
        <source>the runtime server holds no plant</source>
        <translation>der Laufzeitserver enthält keine Anlage</translation>
    </message>
    <message>
        <source>Cannot read the plant: %1</source>
        <translation>Anlage kann nicht gelesen werden: %1</translation>
    </message>
    <message>
        <source>Replace value</source>
        <translation>Wert ersetzen</translation>
    </message>
    <message>
        <source>replacing the value of</source>
        <translation>Ersetzen des Werts von</translation>
    </message>
    <message>
        <source>releasing the value of</source>
        <translation>Freigeben des Werts von</translation>
    </message>
    <message>
        <source>tagging</source>
        <translation>Kennzeichnen von</translation>
    </message>
    <message>
        <source>removing a tag of</source>
        <translation>Entfernen einer Kennzeichnung von</translation>
    </message>
    <message>
        <source>Connected</source>
        <translation>Verbunden</translation>
    </message>
    <message>
        <source>Not connected</source>
        <translation>Nicht verbunden</translation>
    </message>
    <message>
        <source>Server: %1</source>
        <translation>Server: %1</translation>
    </message>
    <message>
        <source>%1 changes/s</source>
        <translation>%1 Änderungen/s</translation>
    </message>
    <message>
        <source>Not trended: %1</source>
        <translation>Nicht im Trend: %1</translation>
    </message>
    <message>
        <source>Alarms and events</source>
        <translation>Alarme und Ereignisse</translation>
    </message>
    <message>
        <source>Log</source>
        <translation>Protokoll</translation>
    </message>
</context>
<context>
    <name>ControlDialog</name>
    <message>
        <source>Answered by the driver</source>
        <translation>Vom Treiber beantwortet</translation>
    </message>
    <message>
        <source>Middleware failure</source>
        <translation>Störung des Middleware-Dienstes</translation>
    </message>
    <message>
        <source>Refused: control inhibit tag</source>
        <translation>Abgelehnt: Steuersperre</translation>
    </message>
    <message>
        <source>Sent without confirmation</source>
        <translation>Ohne Rückmeldung gesendet</translation>
    </message>
    <message>
        <source>Cancelled</source>
        <translation>Abgebrochen</translation>
    </message>
    <message>
        <source>Control %1</source>
        <translation>%1 steuern</translation>
    </message>
    <message>
        <source>Point:</source>
        <translation>Datenpunkt:</translation>
    </message>
    <message>
        <source>unknown point %1</source>
        <translation>unbekannter Datenpunkt %1</translation>
    </message>
    <message>
        <source>Driver:</source>
        <translation>Treiber:</translation>
    </message>
    <message>
        <source>none</source>
        <translation>keiner</translation>
    </message>
    <message>
        <source>Set-point:</source>
        <translation>Sollwert:</translation>
    </message>
    <message>
        <source>Send set-point</source>
        <translation>Sollwert senden</translation>
    </message>
    <message>
        <source>Poll remote unit</source>
        <translation>Fernwirkstation abfragen</translation>
    </message>
    <message>
        <source>Cancel control</source>
        <translation>Befehl abbrechen</translation>
    </message>
    <message>
        <source>State:</source>
        <translation>Zustand:</translation>
    </message>
    <message>
        <source>Result:</source>
        <translation>Ergebnis:</translation>
    </message>
    <message>
        <source>Code:</source>
        <translation>Code:</translation>
    </message>
    <message>
        <source>Message:</source>
        <translation>Meldung:</translation>
    </message>
    <message>
        <source>Unknown result kind %1</source>
        <translation>Unbekannte Ergebnisart %1</translation>
    </message>
    <message>
        <source>Sending set-point %1</source>
        <translation>Sollwert %1 wird gesendet</translation>
    </message>
    <message>
        <source>Polling remote unit %1</source>
        <translation>Fernwirkstation %1 wird abgefragt</translation>
    </message>
    <message>
        <source>%1: waiting for Driver%2 to answer...</source>
        <translation>%1: Warten auf die Antwort von Driver%2...</translation>
    </message>
    <message>
        <source>%1 s left</source>
        <translation>noch %1 s</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Erledigt</translation>
    </message>
</context>
<context>
    <name>EventListModel</name>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
    <message>
        <source>Event</source>
        <translation>Ereignis</translation>
    </message>
</context>
<context>
    <name>PointBrowser</name>
    <message>
        <source>Point</source>
        <translation>Datenpunkt</translation>
    </message>
    <message>
        <source>Kind</source>
        <translation>Art</translation>
    </message>
    <message>
        <source>Id</source>
        <translation>ID</translation>
    </message>
    <message>
        <source>Remote unit</source>
        <translation>Fernwirkstation</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Meldung</translation>
    </message>
    <message>
        <source>Analog</source>
        <translation>Messwert</translation>
    </message>
    <message>
        <source>Text</source>
        <translation>Text</translation>
    </message>
</context>
<context>
    <name>PointTableModel</name>
    <message>
        <source>Control inhibit</source>
        <translation>Steuersperre</translation>
    </message>
    <message>
        <source>Out of service</source>
        <translation>Außer Betrieb</translation>
    </message>
    <message>
        <source>Maintenance</source>
        <translation>Wartung</translation>
    </message>
    <message>
        <source>Point</source>
        <translation>Datenpunkt</translation>
    </message>
    <message>
        <source>Kind</source>
        <translation>Art</translation>
    </message>
    <message>
        <source>Value</source>
        <translation>Wert</translation>
    </message>
    <message>
        <source>Quality</source>
        <translation>Qualität</translation>
    </message>
    <message>
        <source>Tags</source>
        <translation>Kennzeichnungen</translation>
    </message>
    <message>
        <source>Last change</source>
        <translation>Letzte Änderung</translation>
    </message>
    <message>
        <source>Replaced by hand</source>
        <translation>Von Hand ersetzt</translation>
    </message>
    <message>
        <source>Good</source>
        <translation>Gut</translation>
    </message>
    <message>
        <source>Bad quality</source>
        <translation>Schlechte Qualität</translation>
    </message>
    <message>
        <source>Quality: %1</source>
        <translation>Qualität: %1</translation>
    </message>
    <message>
        <source>Tags: %1</source>
        <translation>Kennzeichen: %1</translation>
    </message>
</context>
<context>
    <name>TrendModel</name>
    <message>
        <source>1 min</source>
        <translation>1 Min.</translation>
    </message>
    <message>
        <source>10 min</source>
        <translation>10 Min.</translation>
    </message>
    <message>
        <source>1 h</source>
        <translation>1 Std.</translation>
    </message>
</context>
<context>
    <name>TrendView</name>
    <message>
        <source>Clear</source>
        <translation>Leeren</translation>
    </message>
    <message>
        <source>Drop analog points here</source>
        <translation>Analogpunkte hierher ziehen</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
    <message>
        <source>Window:</source>
        <translation>Zeitfenster:</translation>
    </message>
    <message>
        <source>the point cannot be read</source>
        <translation>der Datenpunkt kann nicht gelesen werden</translation>
    </message>
    <message>
        <source>the point is in the trend already</source>
        <translation>der Datenpunkt ist schon im Trend</translation>
    </message>
    <message>
        <source>only analog points have trends</source>
        <translation>nur Analogpunkte haben Trends</translation>
    </message>
    <message>
        <source>%1 limit %2</source>
        <translation>%1 Grenzwert %2</translation>
    </message>
    <message>
        <source>the payload names no point the server knows</source>
        <translation>die Daten nennen keinen Datenpunkt, den der Server kennt</translation>
    </message>
</context>
</TS>
