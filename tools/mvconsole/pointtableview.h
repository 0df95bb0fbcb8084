/*
 * pointtableview.h: the live point table's view, a drop target for SCADA
 * point payloads. A payload from this process carries the point id in its
 * object; one from another application is read from its bytes (decimal id,
 * or the full name, which is resolved through the runtime server).
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

signals:
    void pointDropped(int id);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    ScadaRuntimeInterface* m_runtime;
};

#endif
