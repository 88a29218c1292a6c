<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>GraphicsList</name>
    <message>
        <source>Drag a graphic onto a chart to show it there</source>
        <translation>Ziehen Sie eine Grafik auf ein Diagramm, um sie dort anzuzeigen</translation>
    </message>
</context>
<context>
    <name>RunFileMenu</name>
    <message>
        <source>Kivo runs (*.kivorun);;All files (*)</source>
        <translation>Kivo-Läufe (*.kivorun);;Alle Dateien (*)</translation>
    </message>
    <message>
        <source>Open &amp;run...</source>
        <translation>&amp;Lauf öffnen...</translation>
    </message>
    <message>
        <source>&amp;Save run...</source>
        <translation>Lauf &amp;speichern...</translation>
    </message>
    <message>
        <source>&amp;Export run data...</source>
        <translation>Lauf&amp;daten exportieren...</translation>
    </message>
    <message>
        <source>Recent runs</source>
        <translation>Zuletzt verwendete Läufe</translation>
    </message>
    <message>
        <source>Open a run</source>
        <translation>Einen Lauf öffnen</translation>
    </message>
    <message>
        <source>Save the run</source>
        <translation>Den Lauf speichern</translation>
    </message>
    <message>
        <source>Export the run&apos;s tracked values to a folder</source>
        <translation>Die verfolgten Größen des Laufs in einen Ordner exportieren</translation>
    </message>
    <message>
        <source>Error...</source>
        <translation>Fehler...</translation>
    </message>
    <message>
        <source>Run read from %1</source>
        <translation>Lauf gelesen aus %1</translation>
    </message>
    <message>
        <source>Damaged run file</source>
        <translation>Beschädigte Laufdatei</translation>
    </message>
    <message>
        <source>Run saved to %1</source>
        <translation>Lauf gespeichert in %1</translation>
    </message>
    <message>
        <source>Run saved in part</source>
        <translation>Lauf teilweise gespeichert</translation>
    </message>
    <message numerus="yes">
        <source>%n CSV file(s) written to %1</source>
        <translation>
            <numerusform>%n CSV-Datei in %1 geschrieben</numerusform>
            <numerusform>%n CSV-Dateien in %1 geschrieben</numerusform>
        </translation>
    </message>
    <message>
        <source>No runs yet</source>
        <translation>Noch keine Läufe</translation>
    </message>
</context>
<context>
    <name>StudioWindow</name>
    <message>
        <source>Kivo Studio</source>
        <translation>Kivo Studio</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Simulation</source>
        <translation>&amp;Simulation</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>Simulation</source>
        <translation>Simulation</translation>
    </message>
    <message>
        <source>Graphics</source>
        <translation>Grafiken</translation>
    </message>
    <message>
        <source>Drag a graphic onto a chart.</source>
        <translation>Ziehen Sie eine Grafik auf ein Diagramm.</translation>
    </message>
    <message>
        <source>&amp;Open model...</source>
        <translation>Modell ö&amp;ffnen...</translation>
    </message>
    <message>
        <source>Open a model file</source>
        <translation>Eine Modelldatei öffnen</translation>
    </message>
    <message>
        <source>Ctrl+O</source>
        <translation>Ctrl+O</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>Quit Kivo Studio</source>
        <translation>Kivo Studio beenden</translation>
    </message>
    <message>
        <source>Ctrl+Q</source>
        <translation>Ctrl+Q</translation>
    </message>
    <message>
        <source>&amp;Run</source>
        <translation>&amp;Ausführen</translation>
    </message>
    <message>
        <source>Run the model on the local simulator</source>
        <translation>Das Modell mit dem lokalen Simulator ausführen</translation>
    </message>
    <message>
        <source>F5</source>
        <translation>F5</translation>
    </message>
    <message>
        <source>&amp;Cancel</source>
        <translation>Abbre&amp;chen</translation>
    </message>
    <message>
        <source>Ask the simulation to stop at the end of its current step</source>
        <translation>Die Simulation bitten, am Ende des aktuellen Schritts anzuhalten</translation>
    </message>
    <message>
        <source>Shift+F5</source>
        <translation>Shift+F5</translation>
    </message>
    <message>
        <source>&amp;Terminate</source>
        <translation>Sofort &amp;beenden</translation>
    </message>
    <message>
        <source>End the simulation now</source>
        <translation>Die Simulation sofort beenden</translation>
    </message>
    <message>
        <source>Ctrl+Shift+F5</source>
        <translation>Ctrl+Shift+F5</translation>
    </message>
    <message>
        <source>Run &amp;options...</source>
        <translation>Lauf&amp;optionen...</translation>
    </message>
    <message>
        <source>Edit the run options of the local simulator</source>
        <translation>Die Laufoptionen des lokalen Simulators bearbeiten</translation>
    </message>
    <message>
        <source>Ctrl+,</source>
        <translation>Ctrl+,</translation>
    </message>
    <message>
        <source>&amp;Monitor...</source>
        <translation>Über&amp;wachen...</translation>
    </message>
    <message>
        <source>Connect to the monitoring server of a running simulation</source>
        <translation>Mit dem Überwachungsserver einer laufenden Simulation verbinden</translation>
    </message>
    <message>
        <source>F7</source>
        <translation>F7</translation>
    </message>
    <message>
        <source>Server &amp;info...</source>
        <translation>Server-&amp;Info...</translation>
    </message>
    <message>
        <source>Show what the monitoring server reports about itself</source>
        <translation>Anzeigen, was der Überwachungsserver über sich selbst meldet</translation>
    </message>
    <message>
        <source>F8</source>
        <translation>F8</translation>
    </message>
    <message>
        <source>&amp;Disconnect</source>
        <translation>Verbindung &amp;trennen</translation>
    </message>
    <message>
        <source>Close the monitoring connection</source>
        <translation>Die Überwachungsverbindung schließen</translation>
    </message>
    <message>
        <source>Ctrl+D</source>
        <translation>Ctrl+D</translation>
    </message>
    <message>
        <source>&amp;About Kivo Studio...</source>
        <translation>&amp;Über Kivo Studio...</translation>
    </message>
    <message>
        <source>Versions of the library and its dependencies</source>
        <translation>Versionen der Bibliothek und ihrer Abhängigkeiten</translation>
    </message>
    <message>
        <source>Looking for the simulator...</source>
        <translation>Simulator wird gesucht...</translation>
    </message>
    <message>
        <source>Kivo %1 (revision %2), default configuration %3</source>
        <translation>Kivo %1 (Revision %2), Standardkonfiguration %3</translation>
    </message>
    <message>
        <source>No usable simulator at %1: only remote monitoring is available</source>
        <translation>Kein verwendbarer Simulator unter %1: nur die entfernte Überwachung ist verfügbar</translation>
    </message>
    <message>
        <source>%1 - Kivo Studio</source>
        <translation>%1 - Kivo Studio</translation>
    </message>
    <message>
        <source>Open a Kivo model</source>
        <translation>Ein Kivo-Modell öffnen</translation>
    </message>
    <message>
        <source>Kivo models (*.lua);;All files (*)</source>
        <translation>Kivo-Modelle (*.lua);;Alle Dateien (*)</translation>
    </message>
    <message>
        <source>&lt;h3&gt;Kivo Studio&lt;/h3&gt;&lt;p&gt;A host of %1 %2 (%3), revision %4, built %5.&lt;/p&gt;</source>
        <translation>&lt;h3&gt;Kivo Studio&lt;/h3&gt;&lt;p&gt;Eine Anwendung für %1 %2 (%3), Revision %4, erstellt am %5.&lt;/p&gt;</translation>
    </message>
    <message>
        <source>&lt;p&gt;Built against:&lt;/p&gt;&lt;ul&gt;</source>
        <translation>&lt;p&gt;Erstellt mit:&lt;/p&gt;&lt;ul&gt;</translation>
    </message>
    <message>
        <source>&lt;p&gt;Simulator: Kivo %1, revision %2&lt;/p&gt;</source>
        <translation>&lt;p&gt;Simulator: Kivo %1, Revision %2&lt;/p&gt;</translation>
    </message>
    <message>
        <source>About Kivo Studio</source>
        <translation>Über Kivo Studio</translation>
    </message>
    <message>
        <source>Stopping the simulation; the window closes once it has ended...</source>
        <translation>Die Simulation wird beendet; das Fenster schließt sich, sobald sie beendet ist...</translation>
    </message>
    <message>
        <source>Remote run</source>
        <translation>Entfernte Ausführung</translation>
    </message>
    <message>
        <source>Kivo Studio: a run has ended</source>
        <translation>Kivo Studio: eine Ausführung ist beendet</translation>
    </message>
    <message>
        <source>%1: %2 after %3</source>
        <translation>%1: %2 nach %3</translation>
    </message>
</context>
</TS>
