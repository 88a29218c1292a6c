<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>KvcActionManager</name>
    <message>
        <source>Error configuring Kivo environment</source>
        <translation>Fehler beim Einrichten der Kivo-Umgebung</translation>
    </message>
    <message>
        <source>Error executing Kivo simulation</source>
        <translation>Fehler bei der Ausführung der Kivo-Simulation</translation>
    </message>
    <message>
        <source>Error...</source>
        <translation>Fehler...</translation>
    </message>
    <message>
        <source>Communication error...</source>
        <translation>Kommunikationsfehler...</translation>
    </message>
    <message>
        <source>%1
The server will be disconnected</source>
        <translation>%1
Die Verbindung zum Server wird getrennt</translation>
    </message>
    <message>
        <source>Disconnect requested</source>
        <translation>Trennen angefordert</translation>
    </message>
    <message>
        <source>Disconnecting from the simulation will prevent receiving additional log messages.
Do you want to continue?</source>
        <translation>Nach dem Trennen von der Simulation werden keine weiteren Protokollmeldungen empfangen.
Möchten Sie fortfahren?</translation>
    </message>
    <message>
        <source>Simulation running</source>
        <translation>Simulation läuft</translation>
    </message>
    <message>
        <source>The simulation of %1 is still running.
Stop it and close?</source>
        <translation>Die Simulation von %1 läuft noch.
Simulation beenden und schließen?</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Stopping the simulation before closing...
</source>
        <translation>Die Simulation wird vor dem Schließen beendet...
</translation>
    </message>
    <message>
        <source>The simulation did not stop within %1 seconds; it is killed.
</source>
        <translation>Die Simulation hat sich nicht innerhalb von %1 Sekunden beendet; sie wird zwangsweise beendet.
</translation>
    </message>
</context>
<context>
    <name>KvcChartData</name>
    <message>
        <source>Zoom held</source>
        <translation>Zoom gehalten</translation>
    </message>
    <message>
        <source>New samples do not move this chart&apos;s ranges. Double-click it, press Home or choose Reset zoom to follow them again.</source>
        <translation>Neue Messwerte verschieben die Bereiche dieses Diagramms nicht. Doppelklicken Sie darauf, drücken Sie Pos1 oder wählen Sie Zoom zurücksetzen, um ihnen wieder zu folgen.</translation>
    </message>
    <message>
        <source>Values at or below 0 not drawn: %1</source>
        <translation>Werte kleiner oder gleich 0 nicht gezeichnet: %1</translation>
    </message>
</context>
<context>
    <name>KvcExecuter</name>
    <message>
        <source>The Kivo executable [%1] failed to start: %2</source>
        <translation>Das Kivo-Programm [%1] konnte nicht gestartet werden: %2</translation>
    </message>
    <message>
        <source>The Kivo executable [%1] could not be found.</source>
        <translation>Das Kivo-Programm [%1] wurde nicht gefunden.</translation>
    </message>
    <message>
        <source>The Kivo process finished unexpectedly: %1</source>
        <translation>Der Kivo-Prozess wurde unerwartet beendet: %1</translation>
    </message>
    <message>
        <source>Unexpected return string while initializing Kivo environment.</source>
        <translation>Unerwartete Rückgabe beim Initialisieren der Kivo-Umgebung.</translation>
    </message>
    <message>
        <source>Unexpected version string while initializing Kivo environment.</source>
        <translation>Unerwartete Versionsangabe beim Initialisieren der Kivo-Umgebung.</translation>
    </message>
    <message>
        <source>Error locating the default configuration file for the Kivo executable.</source>
        <translation>Die Standard-Konfigurationsdatei des Kivo-Programms wurde nicht gefunden.</translation>
    </message>
</context>
<context>
    <name>KvcLogEdit</name>
    <message>
        <source>&amp;Find:</source>
        <translation>&amp;Suchen:</translation>
    </message>
    <message>
        <source>Previous match (Shift+Enter, Shift+F3)</source>
        <translation>Vorheriger Treffer (Umschalt+Eingabe, Umschalt+F3)</translation>
    </message>
    <message>
        <source>Next match (Enter, F3)</source>
        <translation>Nächster Treffer (Eingabe, F3)</translation>
    </message>
    <message>
        <source>Match case</source>
        <translation>Groß-/Kleinschreibung beachten</translation>
    </message>
    <message>
        <source>Close the find bar (Esc)</source>
        <translation>Suchleiste schließen (Esc)</translation>
    </message>
    <message>
        <source>&amp;Show:</source>
        <translation>&amp;Anzeigen:</translation>
    </message>
    <message>
        <source>All messages</source>
        <translation>Alle Meldungen</translation>
    </message>
    <message>
        <source>Info and above</source>
        <translation>Info und wichtiger</translation>
    </message>
    <message>
        <source>Notices and above</source>
        <translation>Hinweise und wichtiger</translation>
    </message>
    <message>
        <source>Warnings and above</source>
        <translation>Warnungen und wichtiger</translation>
    </message>
    <message>
        <source>Text without a level, such as the simulator&apos;s own output before a monitoring server sends the log, is always shown.</source>
        <translation>Text ohne Stufe, etwa die eigene Ausgabe des Simulators, bevor ein Überwachungsserver das Protokoll sendet, wird immer angezeigt.</translation>
    </message>
    <message>
        <source>Errors only</source>
        <translation>Nur Fehler</translation>
    </message>
    <message>
        <source>↓ Follow new messages</source>
        <translation>↓ Neuen Meldungen folgen</translation>
    </message>
    <message>
        <source>The log stays where you scrolled to. Click to follow its end again.</source>
        <translation>Das Protokoll bleibt, wohin Sie gescrollt haben. Klicken Sie, um wieder seinem Ende zu folgen.</translation>
    </message>
    <message>
        <source>Find…</source>
        <translation>Suchen…</translation>
    </message>
    <message>
        <source>Save log…</source>
        <translation>Protokoll speichern…</translation>
    </message>
    <message>
        <source>No matches</source>
        <translation>Keine Treffer</translation>
    </message>
    <message>
        <source>Matches: %1</source>
        <translation>Treffer: %1</translation>
    </message>
    <message>
        <source>%1 of %2</source>
        <translation>%1 von %2</translation>
    </message>
    <message>
        <source>The log could not be saved to %1: %2</source>
        <translation>Das Protokoll konnte nicht unter %1 gespeichert werden: %2</translation>
    </message>
    <message>
        <source>Save log</source>
        <translation>Protokoll speichern</translation>
    </message>
    <message>
        <source>Text files (*.txt);;All files (*)</source>
        <translation>Textdateien (*.txt);;Alle Dateien (*)</translation>
    </message>
    <message>
        <source>Error...</source>
        <translation>Fehler...</translation>
    </message>
</context>
<context>
    <name>KvcLuaFileWidget</name>
    <message>
        <source>Error...</source>
        <translation>Fehler...</translation>
    </message>
    <message>
        <source>Error opening file [%1].</source>
        <translation>Fehler beim Öffnen der Datei [%1].</translation>
    </message>
</context>
<context>
    <name>KvcMonitorDlg</name>
    <message>
        <source>Monitor simulation</source>
        <translation>Simulation überwachen</translation>
    </message>
    <message>
        <source>Saved servers:</source>
        <translation>Gespeicherte Server:</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Add server...&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Server hinzufügen...&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>...</source>
        <translation>...</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Remove server&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Server entfernen&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Kivo server connection parameters: </source>
        <translation>Verbindungsparameter des Kivo-Servers: </translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;The server Ip address or host name&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;IP-Adresse oder Hostname des Servers&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Address:</source>
        <translation>Adresse:</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;The server connection port&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Verbindungsport des Servers&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Port:</source>
        <translation>Port:</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Open server connection file&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Verbindungsdatei des Servers öffnen&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;The maximum time to wait for a connection in seconds&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Maximale Wartezeit auf eine Verbindung in Sekunden&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Timeout:</source>
        <translation>Zeitlimit:</translation>
    </message>
    <message>
        <source>s</source>
        <translation>s</translation>
    </message>
    <message>
        <source>Show server info after connection</source>
        <translation>Server-Info nach dem Verbinden anzeigen</translation>
    </message>
    <message>
        <source>Connecting:</source>
        <translation>Verbindung wird hergestellt:</translation>
    </message>
    <message>
        <source>Connect</source>
        <translation>Verbinden</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Error...</source>
        <translation>Fehler...</translation>
    </message>
    <message>
        <source>Error loading saved server configurations.</source>
        <translation>Fehler beim Laden der gespeicherten Serverkonfigurationen.</translation>
    </message>
    <message>
        <source>Invalid connection parameters!</source>
        <translation>Ungültige Verbindungsparameter!</translation>
    </message>
    <message>
        <source>Server name</source>
        <translation>Servername</translation>
    </message>
    <message>
        <source>Server name:</source>
        <translation>Servername:</translation>
    </message>
    <message>
        <source>Open connection file</source>
        <translation>Verbindungsdatei öffnen</translation>
    </message>
    <message>
        <source>Text files (*.txt);;All files (*.*)</source>
        <translation>Textdateien (*.txt);;Alle Dateien (*.*)</translation>
    </message>
    <message>
        <source>Error parsing connection file: %1</source>
        <translation>Fehler beim Lesen der Verbindungsdatei: %1</translation>
    </message>
    <message>
        <source>Invalid connection or timeout parameters!</source>
        <translation>Ungültige Verbindungs- oder Zeitlimitparameter!</translation>
    </message>
</context>
<context>
    <name>KvcOptionsDlg</name>
    <message>
        <source>Run options</source>
        <translation>Laufoptionen</translation>
    </message>
    <message>
        <source>This dialog defines the set of run time parameters that will be sent to the Kivo executable when running the current simulation.  It overrides the default set of parameters that can be configured in the global options dialog.</source>
        <translation>Dieser Dialog legt die Laufzeitparameter fest, die dem Kivo-Programm bei der Ausführung der aktuellen Simulation übergeben werden.  Sie ersetzen die Standardparameter, die im Dialog der globalen Optionen eingestellt werden können.</translation>
    </message>
    <message>
        <source>Ok</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Error...</source>
        <translation>Fehler...</translation>
    </message>
</context>
<context>
    <name>KvcOptionsWidget</name>
    <message>
        <source>Form</source>
        <translation>Formular</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Optional user parameters that will be available to the input model file.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Optionale Benutzerparameter, die der Modelldatei zur Verfügung stehen.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>User parameters (-u):</source>
        <translation>Benutzerparameter (-u):</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;The configuration file, overriding standard configuration options.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Die Konfigurationsdatei; sie ersetzt die Standard-Konfigurationsoptionen.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Config file (-c):</source>
        <translation>Konfigurationsdatei (-c):</translation>
    </message>
    <message>
        <source>...</source>
        <translation>...</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;The output log file, overriding standard log configuration.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Die Protokolldatei; sie ersetzt die Standard-Protokollkonfiguration.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Log file (-r):</source>
        <translation>Protokolldatei (-r):</translation>
    </message>
    <message>
        <source> Path macros: </source>
        <translation> Pfadmakros: </translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;User supplied value for the $LOG path macro.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Benutzerwert für das Pfadmakro $LOG.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>$LOG path (-l):</source>
        <translation>$LOG-Pfad (-l):</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;User supplied value for the $INPUT path macro.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Benutzerwert für das Pfadmakro $INPUT.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>$INPUT path (-i):</source>
        <translation>$INPUT-Pfad (-i):</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;User supplied value for the $OUTPUT path macro.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Benutzerwert für das Pfadmakro $OUTPUT.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>$OUTPUT path (-o):</source>
        <translation>$OUTPUT-Pfad (-o):</translation>
    </message>
    <message>
        <source> Monitoring options: </source>
        <translation> Überwachungsoptionen: </translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Fills the set of correct options for automatically enabling the server and start monitoring the simulation.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Setzt die passenden Optionen, um den Server automatisch zu aktivieren und die Überwachung der Simulation zu starten.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Enable automatic monitoring settings</source>
        <translation>Automatische Überwachungseinstellungen aktivieren</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Starts the monitor server, overriding the configuration file settings.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Startet den Überwachungsserver, abweichend von den Einstellungen der Konfigurationsdatei.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-monitor</source>
        <translation>-monitor</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Prevents the monitor server from starting, overriding the configuration file settings.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Verhindert den Start des Überwachungsservers, abweichend von den Einstellungen der Konfigurationsdatei.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-nomonitor</source>
        <translation>-nomonitor</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Starts the monitor server listening for connections on localhost / given port (any port if port is missing or 0).&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Startet den Überwachungsserver, der auf localhost / dem angegebenen Port auf Verbindungen wartet (beliebiger Port, wenn der Port fehlt oder 0 ist).&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-local</source>
        <translation>-local</translation>
    </message>
    <message>
        <source>Port:</source>
        <translation>Port:</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;The file in which the server address should be exported.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Die Datei, in die die Serveradresse geschrieben wird.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Connect. file (-s):</source>
        <translation>Verbindungsdatei (-s):</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Model loading waits at most timeout msec for a client connection before starting (0 = forever).&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Das Laden des Modells wartet vor dem Start höchstens so viele Millisekunden auf eine Client-Verbindung (0 = unbegrenzt).&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Wait for connect. (-wait):</source>
        <translation>Auf Verbindung warten (-wait):</translation>
    </message>
    <message>
        <source>msec</source>
        <translation>ms</translation>
    </message>
    <message>
        <source> Logger options: </source>
        <translation> Protokolloptionen: </translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Overrides log configuration to print only warnings and errors.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ändert die Protokollkonfiguration so, dass nur Warnungen und Fehler ausgegeben werden.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-quiet</source>
        <translation>-quiet</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Overrides log configuration to enable every possible messages.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ändert die Protokollkonfiguration so, dass alle möglichen Meldungen ausgegeben werden.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-verbose</source>
        <translation>-verbose</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Overrides log configuration to enable memory messages.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ändert die Protokollkonfiguration so, dass Speichermeldungen ausgegeben werden.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-memory</source>
        <translation>-memory</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Overrides log configuration to disable memory messages.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ändert die Protokollkonfiguration so, dass keine Speichermeldungen ausgegeben werden.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-nomemory</source>
        <translation>-nomemory</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Overrides log configuration to enable time messages.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ändert die Protokollkonfiguration so, dass Zeitmeldungen ausgegeben werden.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-time</source>
        <translation>-time</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Overrides log configuration to disable time messages.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ändert die Protokollkonfiguration so, dass keine Zeitmeldungen ausgegeben werden.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-notime</source>
        <translation>-notime</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Overrides log configuration to enable sending log messages through the monitor server.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ändert die Protokollkonfiguration so, dass Protokollmeldungen über den Überwachungsserver gesendet werden.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-server</source>
        <translation>-server</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Overrides log configuration to disable sending log messages through the monitor server.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ändert die Protokollkonfiguration so, dass keine Protokollmeldungen über den Überwachungsserver gesendet werden.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-noserver</source>
        <translation>-noserver</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Overrides log configuration to disable console logging.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ändert die Protokollkonfiguration so, dass nichts auf der Konsole protokolliert wird.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-noconsole</source>
        <translation>-noconsole</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Adds extra tags to the log file aiding numeric results comparisson during regression tests.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Fügt der Protokolldatei zusätzliche Markierungen hinzu, die den Vergleich numerischer Ergebnisse in Regressionstests erleichtern.&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>-regression</source>
        <translation>-regression</translation>
    </message>
    <message>
        <source>Invalid local port value</source>
        <translation>Ungültiger lokaler Port</translation>
    </message>
    <message>
        <source>Invalid wait value</source>
        <translation>Ungültige Wartezeit</translation>
    </message>
    <message>
        <source>Select a directory</source>
        <translation>Verzeichnis auswählen</translation>
    </message>
    <message>
        <source>Open a Kivo config file</source>
        <translation>Kivo-Konfigurationsdatei öffnen</translation>
    </message>
    <message>
        <source>Lua config files (*.lua);;Text files (*.txt)</source>
        <translation>Lua-Konfigurationsdateien (*.lua);;Textdateien (*.txt)</translation>
    </message>
    <message>
        <source>Save Kivo server address file</source>
        <translation>Datei mit der Kivo-Serveradresse speichern</translation>
    </message>
    <message>
        <source>Save Kivo log file</source>
        <translation>Kivo-Protokolldatei speichern</translation>
    </message>
    <message>
        <source>Text files (*.txt)</source>
        <translation>Textdateien (*.txt)</translation>
    </message>
</context>
<context>
    <name>KvcProgressEstimate</name>
    <message>
        <source>%1 h %2 min</source>
        <translation>%1 h %2 min</translation>
    </message>
    <message>
        <source>%1 min %2 s</source>
        <translation>%1 min %2 s</translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation>%1 s</translation>
    </message>
</context>
<context>
    <name>KvcResultsData</name>
    <message>
        <source>Execution x Simulation time</source>
        <translation>Ausführungszeit x Simulationszeit</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
    <message>
        <source>Execution time (s)</source>
        <translation>Ausführungszeit (s)</translation>
    </message>
    <message>
        <source>Number of iterations</source>
        <translation>Anzahl der Iterationen</translation>
    </message>
    <message>
        <source>Iteration error</source>
        <translation>Iterationsfehler</translation>
    </message>
    <message>
        <source>Iteration</source>
        <translation>Iteration</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>Time (s)</source>
        <translation>Zeit (s)</translation>
    </message>
</context>
<context>
    <name>KvcResultsWidget</name>
    <message>
        <source>Form</source>
        <translation>Formular</translation>
    </message>
    <message>
        <source>Simulation: </source>
        <translation>Simulation: </translation>
    </message>
    <message>
        <source>Loading started at: </source>
        <translation>Laden gestartet um: </translation>
    </message>
    <message>
        <source>Running started at: </source>
        <translation>Ausführung gestartet um: </translation>
    </message>
    <message>
        <source>Finished at: </source>
        <translation>Beendet um: </translation>
    </message>
    <message>
        <source>Status: </source>
        <translation>Status: </translation>
    </message>
    <message>
        <source>Simulation time: </source>
        <translation>Simulationszeit: </translation>
    </message>
    <message>
        <source>Iteration: </source>
        <translation>Iteration: </translation>
    </message>
    <message>
        <source>dd-MMM-yyyy hh:mm:ss.zzz</source>
        <translation>dd.MM.yyyy HH:mm:ss.zzz</translation>
    </message>
    <message numerus="yes">
        <source>[%n earlier lines of the log were dropped]</source>
        <translation>
            <numerusform>[%n frühere Zeile des Protokolls wurde verworfen]</numerusform>
            <numerusform>[%n frühere Zeilen des Protokolls wurden verworfen]</numerusform>
        </translation>
    </message>
    <message>
        <source>There is no chart %1.</source>
        <translation>Es gibt kein Diagramm %1.</translation>
    </message>
    <message>
        <source>Cannot write %1: %2</source>
        <translation>%1 kann nicht geschrieben werden: %2</translation>
    </message>
    <message>
        <source>Reset zoom</source>
        <translation>Zoom zurücksetzen</translation>
    </message>
    <message>
        <source>Save image…</source>
        <translation>Bild speichern…</translation>
    </message>
    <message>
        <source>Save the chart&apos;s image</source>
        <translation>Bild des Diagramms speichern</translation>
    </message>
    <message>
        <source>PNG images (*.png);;SVG images (*.svg)</source>
        <translation>PNG-Bilder (*.png);;SVG-Bilder (*.svg)</translation>
    </message>
    <message>
        <source>Save image</source>
        <translation>Bild speichern</translation>
    </message>
    <message>
        <source>Copy image</source>
        <translation>Bild kopieren</translation>
    </message>
    <message>
        <source>Export data…</source>
        <translation>Daten exportieren…</translation>
    </message>
    <message>
        <source>Export the chart&apos;s data</source>
        <translation>Daten des Diagramms exportieren</translation>
    </message>
    <message>
        <source>CSV files (*.csv)</source>
        <translation>CSV-Dateien (*.csv)</translation>
    </message>
    <message>
        <source>Export data</source>
        <translation>Daten exportieren</translation>
    </message>
    <message>
        <source>Copy data</source>
        <translation>Daten kopieren</translation>
    </message>
    <message>
        <source>Logarithmic y axis</source>
        <translation>Logarithmische y-Achse</translation>
    </message>
</context>
<context>
    <name>KvcRunFile</name>
    <message>
        <source>Cannot save the run to %1: %2</source>
        <translation>Der Lauf kann nicht in %1 gespeichert werden: %2</translation>
    </message>
    <message>
        <source>The samples of %1 were left out: their index data changed its number of lines during the run.</source>
        <translation>Die Messwerte von %1 wurden weggelassen: Ihre Indexdaten haben während des Laufs die Zahl ihrer Zeilen geändert.</translation>
    </message>
    <message>
        <source>Cannot open %1: %2</source>
        <translation>%1 kann nicht geöffnet werden: %2</translation>
    </message>
    <message>
        <source>%1 is not a Kivo run file.</source>
        <translation>%1 ist keine Kivo-Laufdatei.</translation>
    </message>
    <message>
        <source>%1 is a Kivo run file of format version %2; this program reads version %3 and older. A newer program is needed to open it.</source>
        <translation>%1 ist eine Kivo-Laufdatei im Format Version %2; dieses Programm liest Version %3 und ältere. Zum Öffnen wird ein neueres Programm benötigt.</translation>
    </message>
    <message>
        <source>%1 is damaged at byte %2 (frame %3): %4. The run is shown as far as it could be read.</source>
        <translation>%1 ist bei Byte %2 beschädigt (Rahmen %3): %4. Der Lauf wird so weit angezeigt, wie er gelesen werden konnte.</translation>
    </message>
    <message>
        <source>%1 ends inside frame %2, which starts at byte %3: the file was cut short. The run is shown as far as it goes.</source>
        <translation>%1 endet mitten in Rahmen %2, der bei Byte %3 beginnt: Die Datei wurde abgeschnitten. Der Lauf wird so weit angezeigt, wie er reicht.</translation>
    </message>
    <message>
        <source>a frame of %1 bytes</source>
        <translation>ein Rahmen von %1 Bytes</translation>
    </message>
    <message>
        <source>a recording of monitoring protocol version %1</source>
        <translation>eine Aufzeichnung des Überwachungsprotokolls Version %1</translation>
    </message>
    <message>
        <source>Cannot create the folder %1.</source>
        <translation>Der Ordner %1 kann nicht angelegt werden.</translation>
    </message>
    <message>
        <source>Cannot write %1: %2</source>
        <translation>%1 kann nicht geschrieben werden: %2</translation>
    </message>
    <message>
        <source>samples before the rule data</source>
        <translation>Messwerte vor den Regeldaten</translation>
    </message>
    <message>
        <source>samples of an unknown or unindexed value %1</source>
        <translation>Messwerte eines unbekannten oder nicht indizierten Werts %1</translation>
    </message>
    <message>
        <source>%1 samples of value %2 in %3 bytes</source>
        <translation>%1 Messwerte des Werts %2 in %3 Bytes</translation>
    </message>
    <message>
        <source>%1 times in %2 bytes</source>
        <translation>%1 Zeiten in %2 Bytes</translation>
    </message>
    <message>
        <source>samples at steps %1 to %2 of %3</source>
        <translation>Messwerte bei den Zeitschritten %1 bis %2 von %3</translation>
    </message>
    <message>
        <source>a sample at step %1 of %2</source>
        <translation>ein Messwert bei Zeitschritt %1 von %2</translation>
    </message>
    <message>
        <source>samples without times</source>
        <translation>Messwerte ohne Zeiten</translation>
    </message>
    <message>
        <source>The samples of %1 were left out: their times are not times of the run.</source>
        <translation>Die Messwerte von %1 wurden weggelassen: Ihre Zeiten sind keine Zeiten des Laufs.</translation>
    </message>
</context>
<context>
    <name>KvcRunProgress</name>
    <message>
        <source>Progress: </source>
        <translation>Fortschritt: </translation>
    </message>
    <message>
        <source>ran for %1</source>
        <translation>lief %1</translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation>%1 %</translation>
    </message>
    <message>
        <source>estimating…</source>
        <translation>wird geschätzt…</translation>
    </message>
    <message>
        <source>no progress</source>
        <translation>kein Fortschritt</translation>
    </message>
    <message>
        <source>about %1 left</source>
        <translation>noch etwa %1</translation>
    </message>
</context>
<context>
    <name>KvcServerInfoDlg</name>
    <message>
        <source>Server info</source>
        <translation>Server-Info</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-size:10pt; font-weight:600;&quot;&gt;Version:&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-size:10pt; font-weight:600;&quot;&gt;Version:&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>The Kivo version string</source>
        <translation>Die Kivo-Versionsangabe</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-size:10pt; font-weight:600;&quot;&gt;Revision:&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-size:10pt; font-weight:600;&quot;&gt;Revision:&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>The Kivo revision string</source>
        <translation>Die Kivo-Revisionsangabe</translation>
    </message>
    <message>
        <source> Server control options: </source>
        <translation> Steuerungsoptionen des Servers: </translation>
    </message>
    <message>
        <source>Server accepts cancelation requests</source>
        <translation>Server nimmt Abbruchanforderungen an</translation>
    </message>
    <message>
        <source>Server accepts termination requests</source>
        <translation>Server nimmt Beendigungsanforderungen an</translation>
    </message>
    <message>
        <source>Server sends log messages</source>
        <translation>Server sendet Protokollmeldungen</translation>
    </message>
    <message>
        <source> Model info: </source>
        <translation> Modellinformationen: </translation>
    </message>
    <message>
        <source>Name: </source>
        <translation>Name: </translation>
    </message>
    <message>
        <source>Description: </source>
        <translation>Beschreibung: </translation>
    </message>
    <message>
        <source>Files:</source>
        <translation>Dateien:</translation>
    </message>
    <message>
        <source>Ok</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>QObject</name>
    <message>
        <source>Loading</source>
        <translation>Wird geladen</translation>
    </message>
    <message>
        <source>Running</source>
        <translation>Läuft</translation>
    </message>
    <message>
        <source>Disconnected</source>
        <translation>Getrennt</translation>
    </message>
    <message>
        <source>Finished</source>
        <translation>Beendet</translation>
    </message>
    <message>
        <source>Canceled</source>
        <translation>Abgebrochen</translation>
    </message>
    <message>
        <source>Aborted</source>
        <translation>Fehlerhaft beendet</translation>
    </message>
    <message>
        <source>Unknown</source>
        <translation>Unbekannt</translation>
    </message>
    <message>
        <source>-quiet and -verbose options can not be used together.</source>
        <translation>Die Optionen -quiet und -verbose können nicht zusammen verwendet werden.</translation>
    </message>
    <message>
        <source>-memory and -nomemory options can not be used together.</source>
        <translation>Die Optionen -memory und -nomemory können nicht zusammen verwendet werden.</translation>
    </message>
    <message>
        <source>-time and -notime options can not be used together.</source>
        <translation>Die Optionen -time und -notime können nicht zusammen verwendet werden.</translation>
    </message>
    <message>
        <source>-memory, -noMemory, -time and -notime options can not be used together with -verbose or -quiet.</source>
        <translation>Die Optionen -memory, -noMemory, -time und -notime können nicht zusammen mit -verbose oder -quiet verwendet werden.</translation>
    </message>
    <message>
        <source>-server and -noserver options can not be used together.</source>
        <translation>Die Optionen -server und -noserver können nicht zusammen verwendet werden.</translation>
    </message>
    <message>
        <source>-monitor, -nomonitor and -local options can not be used together.

</source>
        <translation>Die Optionen -monitor, -nomonitor und -local können nicht zusammen verwendet werden.

</translation>
    </message>
</context>
<context>
    <name>QtOptionalMessageBox</name>
    <message>
        <source>Do not show this again</source>
        <translation>Diese Meldung nicht mehr anzeigen</translation>
    </message>
</context>
</TS>
