#include "graphicslist.h"

#include "kvcommclientdata.h"
#include "kvcresultsdata.h"

#include <QKeyEvent>
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
    connect(this, &QListWidget::itemDoubleClicked, this,
        [this](QListWidgetItem *item) { emit graphicChosen(item->data(Qt::UserRole).toInt()); });
}

void GraphicsList::showGraphics(const KvcResultsData *data)
{
    clear();
    if (!data)
        return;
    // The store is only read here; the results data hands it out non-const.
    const QSharedPointer<KvCommClientData> store
        = const_cast<KvcResultsData *>(data)->simulationData();
    const auto &graphics = data->graphics();
    for (int i = 0; i < graphics.size(); ++i) {
        const KvcResultsData::GraphicsData &graphic = *graphics[i];
        QString unit;
        QString rule;
        if (store && graphic.trackId >= 0 && graphic.trackId < store->simNumTrackedData())
            unit = store->simTrackedDataInfo(graphic.trackId).unit;
        if (store && graphic.ruleId >= 0 && graphic.ruleId < store->simNumRules())
            rule = store->simRuleInfo(graphic.ruleId).name;
        auto *item = new QListWidgetItem(
            unit.isEmpty() ? graphic.title : tr("%1 [%2]").arg(graphic.title, unit), this);
        item->setData(Qt::UserRole, i);
        QStringList tip;
        if (!rule.isEmpty())
            tip << tr("Rule: %1").arg(rule);
        if (!graphic.series.isEmpty())
            tip << tr("Series: %1").arg(graphic.series.join(QLatin1String(", ")));
        item->setData(Qt::UserRole + 1, tip.join(QLatin1Char(' ')));
        tip << tr("Double-click to show it on the large chart, or drag it onto any chart.");
        item->setToolTip(tip.join(QLatin1Char('\n')));
        if (i < data->numSpecialGraphics()) {
            QFont font = item->font();
            font.setItalic(true);
            item->setFont(font);
        }
    }
    applyFilter();
}

void GraphicsList::setFilterText(const QString &text)
{
    filter = text.trimmed();
    applyFilter();
}

void GraphicsList::applyFilter()
{
    for (int i = 0; i < count(); ++i) {
        QListWidgetItem *entry = item(i);
        entry->setHidden(!filter.isEmpty() && !entry->text().contains(filter, Qt::CaseInsensitive)
            && !entry->data(Qt::UserRole + 1).toString().contains(filter, Qt::CaseInsensitive));
    }
}

void GraphicsList::keyPressEvent(QKeyEvent *event)
{
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && currentItem()
        && !currentItem()->isHidden()) {
        emit graphicChosen(currentItem()->data(Qt::UserRole).toInt());
        return;
    }
    QListWidget::keyPressEvent(event);
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
