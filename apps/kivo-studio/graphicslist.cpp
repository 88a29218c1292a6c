#include "graphicslist.h"

#include "kvcresultsdata.h"

#include <QMimeData>

namespace {
const char graphIndexType[] = "application/x-GraphIndex";
}

GraphicsList::GraphicsList(QWidget *parent)
    : QListWidget(parent)
{
    setDragEnabled(true);
    setDragDropMode(QAbstractItemView::DragOnly);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setToolTip(tr("Drag a graphic onto a chart to show it there"));
}

void GraphicsList::showGraphics(const KvcResultsData *data)
{
    clear();
    if (!data)
        return;
    const auto &graphics = data->graphics();
    for (int i = 0; i < graphics.size(); ++i) {
        auto *item = new QListWidgetItem(graphics[i]->title, this);
        item->setData(Qt::UserRole, i);
        item->setToolTip(graphics[i]->series.join(QLatin1String(", ")));
        if (i < data->numSpecialGraphics()) {
            QFont font = item->font();
            font.setItalic(true);
            item->setFont(font);
        }
    }
}

QStringList GraphicsList::mimeTypes() const { return {QLatin1String(graphIndexType)}; }

QMimeData *GraphicsList::mimeData(const QList<QListWidgetItem *> items) const
{
    if (items.isEmpty())
        return nullptr;
    auto *mime = new QMimeData;
    mime->setData(QLatin1String(graphIndexType),
        QByteArray::number(items.first()->data(Qt::UserRole).toInt()));
    return mime;
}
