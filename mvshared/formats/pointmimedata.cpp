/*
 * pointmimedata.cpp: the drag-and-drop payloads of SCADA points.
 */
#include <MVShared/PointMimeData.h>

#include <QtGui/QDrag>
#include <QtWidgets/QWidget>

namespace {

/* Where the cursor holds the dragged point's image. */
const QPoint DragHotSpot(5, 5);

template <typename... Names>
Qt::DropAction dragPoint(QWidget* source, uint pid, const Names&... names)
{
    QDrag* drag = new QDrag(source);
    new MorvaneScadaPointMimeData(drag, pid, names...);
    return drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::CopyAction);
}

} // namespace

QString Morvane::scadaPointMimeFormat()
{
    return QStringLiteral("application/morvane-scadapoint");
}

MorvaneScadaPointMimeData::MorvaneScadaPointMimeData(QDrag* drag, uint pid)
    : m_pointPid(pid)
{
    attachTo(drag, QByteArray::number(pid));
}

MorvaneScadaPointMimeData::MorvaneScadaPointMimeData(QDrag* drag, uint pid, const QString& fullName,
                                                     const QString& description)
    : m_pointPid(pid)
    , m_fullName(fullName)
    , m_description(description)
{
    attachTo(drag, fullName.toUtf8());
}

void MorvaneScadaPointMimeData::attachTo(QDrag* drag, const QByteArray& payload)
{
    setData(Morvane::scadaPointMimeFormat(), payload);
    drag->setHotSpot(DragHotSpot);
    drag->setMimeData(this);
}

Qt::DropAction MorvaneScadaPointMimeData::execDrag(uint pid, QWidget* source)
{
    return dragPoint(source, pid);
}

Qt::DropAction MorvaneScadaPointMimeData::execDrag(uint pid, const QString& fullName,
                                                   const QString& description, QWidget* source)
{
    return dragPoint(source, pid, fullName, description);
}

Morvane::BrowerItemInfo MVPointMimeData::getData() const
{
    if (dataList.isEmpty())
        return Morvane::BrowerItemInfo();
    return dataList.first();
}

void MVPointMimeData::setDataList(const QList<Morvane::BrowerItemInfo>& list)
{
    if (dataList.isSharedWith(list))
        return;
    dataList = list;
}
