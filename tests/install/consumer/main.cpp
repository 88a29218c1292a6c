// Builds the library's main pieces from its installed headers and library,
// and prints the library's release record.
#include <kvcactionmanager.h>
#include <kvcoptions.h>
#include <kvcoptionswidget.h>
#include <kvcresultsdata.h>
#include <kvcresultswidget.h>
#include <kvcversion.h>

#include <QAction>
#include <QApplication>
#include <QTextStream>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QAction run, cancel, terminate, configure, monitor, serverInfo, disconnect;
    KvcActionManager manager(
        &run, &cancel, &terminate, &configure, &monitor, &serverInfo, &disconnect);

    QSharedPointer<KvcResultsData> data(new KvcResultsData);
    KvcResultsWidget results(&manager, KvcActionManager::Finished, data);
    results.show();

    KvcOptions options;
    KvcOptionsWidget optionsWidget(&options, QStringLiteral("."));
    optionsWidget.show();
    app.processEvents();

    QTextStream(stdout) << KvcClientLibVersionInfo().join(QLatin1Char(' ')) << '\n';
    return monitor.isEnabled() && data->graphics().size() == data->numSpecialGraphics() ? 0 : 1;
}
