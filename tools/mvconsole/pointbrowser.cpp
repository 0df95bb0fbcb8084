/*
 * pointbrowser.cpp: the tree of remote units and their points.
 */
#include "pointbrowser.h"

#include <MVShared/PointMimeData.h>

#include <QtCore/QHash>

PointBrowser::PointBrowser(QWidget* parent)
    : QTreeWidget(parent)
{
    setObjectName(QStringLiteral("pointBrowser"));
    setHeaderLabels({tr("Point"), tr("Kind"), tr("Id")});
    setDragEnabled(true);
    setDragDropMode(QAbstractItemView::DragOnly);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setUniformRowHeights(true);
}

void PointBrowser::showPlant(const PlantIndex& plant)
{
    clear();
    QHash<int, QTreeWidgetItem*> units;
    for (const PlantRemoteUnit& unit : plant.remoteUnits) {
        auto* item = new QTreeWidgetItem(this, {unit.name, tr("Remote unit"), QString::number(unit.id)});
        item->setFlags(Qt::ItemIsEnabled);
        units.insert(unit.id, item);
    }
    const struct {
        const QVector<PlantPoint>* points;
        QString kind;
    } kinds[] = {{&plant.status, tr("Status")}, {&plant.analog, tr("Analog")}, {&plant.text, tr("Text")}};
    for (const auto& k : kinds) {
        for (const PlantPoint& point : *k.points) {
            QTreeWidgetItem* unit = units.value(point.rtuId);
            auto* item = unit ? new QTreeWidgetItem(unit, {point.name, k.kind, QString::number(point.id)})
                              : new QTreeWidgetItem(this, {point.name, k.kind, QString::number(point.id)});
            item->setData(NameColumn, PointIdRole, point.id);
            item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled);
        }
    }
    resizeColumnToContents(NameColumn);
}

void PointBrowser::filter(const QString& text)
{
    for (int u = 0; u < topLevelItemCount(); ++u) {
        QTreeWidgetItem* unit = topLevelItem(u);
        bool anyShown = false;
        for (int p = 0; p < unit->childCount(); ++p) {
            QTreeWidgetItem* point = unit->child(p);
            const bool shown = text.isEmpty() || point->text(NameColumn).contains(text, Qt::CaseInsensitive);
            point->setHidden(!shown);
            anyShown = anyShown || shown;
        }
        const bool unitMatches = unit->text(NameColumn).contains(text, Qt::CaseInsensitive);
        unit->setHidden(!anyShown && !unitMatches && unit->childCount() > 0);
        unit->setExpanded(!text.isEmpty() && anyShown);
    }
}

QTreeWidgetItem* PointBrowser::itemOfPoint(int id) const
{
    QTreeWidgetItemIterator it(const_cast<PointBrowser*>(this));
    for (; *it; ++it)
        if ((*it)->data(NameColumn, PointIdRole).toInt() == id && (*it)->data(NameColumn, PointIdRole).isValid())
            return *it;
    return nullptr;
}

/* The point travels as the product's SCADA point payload, named form, so
 * that drop targets in other applications see its full name. */
Qt::DropAction PointBrowser::dragPoint(const QTreeWidgetItem* item)
{
    if (!item || !item->data(NameColumn, PointIdRole).isValid())
        return Qt::IgnoreAction;
    return MorvaneScadaPointMimeData::execDrag(item->data(NameColumn, PointIdRole).toUInt(), item->text(NameColumn),
                                               QString(), this);
}

void PointBrowser::startDrag(Qt::DropActions)
{
    dragPoint(currentItem());
}
