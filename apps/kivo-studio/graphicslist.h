#pragma once

#include <QListWidget>

class KvcResultsData;

// The graphics of the current execution, by name; each can be dragged onto a
// chart of a results view, which reads "application/x-GraphIndex".
class GraphicsList : public QListWidget
{
    Q_OBJECT

public:
    explicit GraphicsList(QWidget *parent = nullptr);

    // Lists the graphics of `data` (none for null).
    void showGraphics(const KvcResultsData *data);

protected:
    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QList<QListWidgetItem *> items) const override;
};
