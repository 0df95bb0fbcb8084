/*
 * pointtableview.h: the live point table's view, a drop target for SCADA
 * point payloads (read by PointPayload) and a drag source of its rows' points.
 */
#ifndef MVCONSOLE_POINTTABLEVIEW_H
#define MVCONSOLE_POINTTABLEVIEW_H

#include <QtWidgets/QTableView>

class ScadaRuntimeInterface;

class PointTableView : public QTableView
{
    Q_OBJECT

public:
    PointTableView(ScadaRuntimeInterface* runtime, QWidget* parent = nullptr);

    /* The point id a payload names; 0 when it names none the server knows. */
    int pointOfPayload(const QMimeData* payload) const;
    /* Drags the row's point out of the table (what a mouse drag starts); the
     * drop action, IgnoreAction for a row that does not exist. */
    Qt::DropAction dragRow(int row);

signals:
    void pointDropped(int id);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void startDrag(Qt::DropActions supportedActions) override;

private:
    ScadaRuntimeInterface* m_runtime;
};

#endif
