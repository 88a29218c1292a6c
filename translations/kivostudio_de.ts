<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>GraphicsList</name>
    <message>
        <source>%1 [%2]</source>
        <translation>%1 [%2]</translation>
    </message>
    <message>
        <source>Rule: %1</source>
        <translation>Regel: %1</translation>
    </message>
    <message>
        <source>Series: %1</source>
        <translation>Reihen: %1</translation>
    </message>
    <message>
        <source>Double-click to show it on the large chart, or drag it onto any chart.</source>
        <translation>Doppelklicken, um sie im großen Diagramm anzuzeigen, oder auf ein beliebiges Diagramm ziehen.</translation>
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
    <message>
        <source>&amp;View</source>
        <translation>&amp;Ansicht</translation>
    </message>
    <message>
        <source>Drag a graphic onto a chart, or double-click it to show it on the large chart.</source>
        <translation>Ziehen Sie eine Grafik auf ein Diagramm oder doppelklicken Sie sie, um sie im großen Diagramm anzuzeigen.</translation>
    </message>
    <message>
        <source>Filter graphics</source>
        <translation>Grafiken filtern</translation>
    </message>
    <message>
        <source>&amp;Keyboard shortcuts...</source>
        <translation>&amp;Tastenkürzel...</translation>
    </message>
    <message>
        <source>The keys and mouse gestures of the window and its charts</source>
        <translation>Die Tasten und Mausgesten des Fensters und seiner Diagramme</translation>
    </message>
    <message>
        <source>Recent &amp;models</source>
        <translation>Zuletzt verwendete &amp;Modelle</translation>
    </message>
    <message>
        <source>&amp;Graphics panel</source>
        <translation>&amp;Grafikbereich</translation>
    </message>
    <message>
        <source>&amp;Toolbar</source>
        <translation>&amp;Werkzeugleiste</translation>
    </message>
    <message>
        <source>&lt;p&gt;Simulator: none usable at %1&lt;/p&gt;</source>
        <translation>&lt;p&gt;Simulator: keiner verwendbar unter %1&lt;/p&gt;</translation>
    </message>
    <message>
        <source>This run is still going: cancel or terminate it before closing its tab</source>
        <translation>Diese Ausführung läuft noch: brechen Sie sie ab oder beenden Sie sie, bevor Sie ihren Reiter schließen</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>The settings in %1 could not be read; Kivo Studio starts with its defaults. The file was kept as %2.</source>
        <translation>Die Einstellungen in %1 konnten nicht gelesen werden; Kivo Studio startet mit seinen Vorgaben. Die Datei wurde als %2 aufbewahrt.</translation>
    </message>
    <message>
        <source>No longer found, removed from the recent models: %1</source>
        <translation>Nicht mehr gefunden, aus den zuletzt verwendeten Modellen entfernt: %1</translation>
    </message>
    <message>
        <source>No recent models</source>
        <translation>Keine zuletzt verwendeten Modelle</translation>
    </message>
    <message>
        <source>Recent models</source>
        <translation>Zuletzt verwendete Modelle</translation>
    </message>
    <message>
        <source>The model %1 no longer exists; it was removed from the recent models.</source>
        <translation>Das Modell %1 existiert nicht mehr; es wurde aus den zuletzt verwendeten Modellen entfernt.</translation>
    </message>
    <message>
        <source>Port %1 is taken, most likely by another run&apos;s monitoring server. To run this model at the same time, open Simulation &gt; Run options, untick &quot;Enable automatic monitoring settings&quot;, enter a free port and connect with Simulation &gt; Monitor once the run has started; or run it again when the other run has ended.</source>
        <translation>Port %1 ist belegt, höchstwahrscheinlich durch den Überwachungsserver einer anderen Ausführung. Um dieses Modell gleichzeitig auszuführen, öffnen Sie Simulation &gt; Laufoptionen, entfernen Sie das Häkchen bei &quot;Enable automatic monitoring settings&quot;, geben Sie einen freien Port ein und verbinden Sie sich nach dem Start mit Simulation &gt; Überwachen; oder führen Sie es erneut aus, wenn die andere Ausführung beendet ist.</translation>
    </message>
    <message>
        <source>The run was aborted: %1</source>
        <translation>Die Ausführung wurde abgebrochen: %1</translation>
    </message>
    <message>
        <source>The run was aborted: port %1 is taken by another run</source>
        <translation>Die Ausführung wurde abgebrochen: Port %1 ist durch eine andere Ausführung belegt</translation>
    </message>
    <message>
        <source>The simulator stopped with: %1</source>
        <translation>Der Simulator endete mit: %1</translation>
    </message>
    <message>
        <source>The simulator stopped with: %1
%2</source>
        <translation>Der Simulator endete mit: %1
%2</translation>
    </message>
    <message>
        <source>Close this tab</source>
        <translation>Diesen Reiter schließen</translation>
    </message>
    <message>
        <source>Double-click, Enter</source>
        <translation>Doppelklick, Eingabetaste</translation>
    </message>
    <message>
        <source>Graphics panel: show the graphic on the large chart</source>
        <translation>Grafikbereich: die Grafik im großen Diagramm anzeigen</translation>
    </message>
    <message>
        <source>Drag</source>
        <translation>Ziehen</translation>
    </message>
    <message>
        <source>Graphics panel: show the graphic on the chart it is dropped on</source>
        <translation>Grafikbereich: die Grafik in dem Diagramm anzeigen, auf dem sie abgelegt wird</translation>
    </message>
    <message>
        <source>Wheel</source>
        <translation>Mausrad</translation>
    </message>
    <message>
        <source>Chart: zoom the time axis around the mouse</source>
        <translation>Diagramm: die Zeitachse um den Mauszeiger zoomen</translation>
    </message>
    <message>
        <source>Ctrl+Wheel</source>
        <translation>Strg+Mausrad</translation>
    </message>
    <message>
        <source>Chart: zoom the value axis</source>
        <translation>Diagramm: die Werteachse zoomen</translation>
    </message>
    <message>
        <source>Middle button drag, Shift+drag</source>
        <translation>Ziehen mit mittlerer Taste, Umschalt+Ziehen</translation>
    </message>
    <message>
        <source>Chart: move the plot</source>
        <translation>Diagramm: die Darstellung verschieben</translation>
    </message>
    <message>
        <source>Left button drag</source>
        <translation>Ziehen mit linker Taste</translation>
    </message>
    <message>
        <source>Chart: zoom into the rectangle</source>
        <translation>Diagramm: in das Rechteck zoomen</translation>
    </message>
    <message>
        <source>Double-click, Home</source>
        <translation>Doppelklick, Pos1</translation>
    </message>
    <message>
        <source>Chart: reset the zoom and follow the data again</source>
        <translation>Diagramm: den Zoom zurücksetzen und wieder den Daten folgen</translation>
    </message>
    <message>
        <source>Right click, Menu key, Shift+F10</source>
        <translation>Rechtsklick, Menütaste, Umschalt+F10</translation>
    </message>
    <message>
        <source>Chart: menu to reset the zoom, save or copy the image, export or copy the data</source>
        <translation>Diagramm: Menü, um den Zoom zurückzusetzen, das Bild zu speichern oder zu kopieren, die Daten zu exportieren oder zu kopieren</translation>
    </message>
    <message>
        <source>Click on a legend entry</source>
        <translation>Klick auf einen Legendeneintrag</translation>
    </message>
    <message>
        <source>Chart: hide or show that series</source>
        <translation>Diagramm: diese Reihe aus- oder einblenden</translation>
    </message>
    <message>
        <source>Keyboard shortcuts</source>
        <translation>Tastenkürzel</translation>
    </message>
    <message>
        <source>Keys</source>
        <translation>Tasten</translation>
    </message>
    <message>
        <source>Action</source>
        <translation>Aktion</translation>
    </message>
</context>
</TS>
