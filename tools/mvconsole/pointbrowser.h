/*
 * pointbrowser.h: the plant's points by remote unit, as the operator picks
 * them. A point is dragged out of the browser (into the live table or any
 * other drop target of the product) as a SCADA point payload.
 */
#ifndef MVCONSOLE_POINTBROWSER_H
#define MVCONSOLE_POINTBROWSER_H

#include "plantindex.h"

#include <QtWidgets/QTreeWidget>

class PointBrowser : public QTreeWidget
{
    Q_OBJECT

public:
    enum Column { NameColumn, KindColumn, IdColumn };
    enum { PointIdRole = Qt::UserRole + 1 };

    explicit PointBrowser(QWidget* parent = nullptr);

    void showPlant(const PlantIndex& plant);
    /* Shows the points whose name contains the text (case-insensitive),
     * with their units; every point for an empty text. */
    void filter(const QString& text);
    /* The item of a point, null when the browser does not show it. */
    QTreeWidgetItem* itemOfPoint(int id) const;
    /* Drags the item's point out of the browser (what a mouse drag starts);
     * the drop action, IgnoreAction for an item that is not a point. */
    Qt::DropAction dragPoint(const QTreeWidgetItem* item);

protected:
    void startDrag(Qt::DropActions supportedActions) override;
};

#endif
