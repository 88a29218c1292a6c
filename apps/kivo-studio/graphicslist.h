#pragma once

#include <QListWidget>

class KvcResultsData;

// The graphics of the current execution, by name and unit, with their rule
// and series in a tooltip; each can be dragged onto a chart of a results
// view, which reads "application/x-GraphIndex", or double-clicked, which
// emits graphicChosen().
class GraphicsList : public QListWidget
{
    Q_OBJECT

public:
    explicit GraphicsList(QWidget *parent = nullptr);

    // Lists the graphics of `data` (none for null); the filter stays.
    void showGraphics(const KvcResultsData *data);
    // Shows only the graphics whose text, rule or series contain `text` (any case).
    void setFilterText(const QString &text);

    // A filter is worth its room from this many graphics on.
    static constexpr int FilterFrom = 37;

signals:
    // The user double-clicked (or pressed Enter on) graphic `index`.
    void graphicChosen(int index);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QList<QListWidgetItem *> items) const override;

private:
    void applyFilter();

    QString filter;
};
