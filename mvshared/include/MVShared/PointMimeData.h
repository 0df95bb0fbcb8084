/*
 * PointMimeData.h: drag-and-drop payloads of SCADA points.
 *
 * MorvaneScadaPointMimeData carries one point and starts the drag itself;
 * MVPointMimeData carries a list of point-browser items within the process.
 * Neither overrides a QMimeData operation: what they carry beyond the mime
 * format is held in members, and a drop target in the same process casts
 * the mime data to the class to read it.
 *
 * The format "application/morvane-scadapoint" holds either the point id as
 * decimal digits (id-only form) or the full name in UTF-8 (named form); a
 * target cannot tell the two apart by the format alone and reads pointPid()
 * when it needs the id.
 */
#ifndef MVSHARED_POINTMIMEDATA_H
#define MVSHARED_POINTMIMEDATA_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QList>
#include <QtCore/QMimeData>
#include <QtCore/QPoint>
#include <QtCore/QString>

class QDrag;
class QWidget;

namespace Morvane {
/* The mime format of a dragged SCADA point. */
MVSHARED_EXPORT QString scadaPointMimeFormat();
} // namespace Morvane

class MVSHARED_EXPORT MorvaneScadaPointMimeData : public QMimeData
{
    Q_OBJECT

public:
    /* The id-only form. Sets the drag's hot spot to (5,5) and hands itself
     * to the drag, which owns it from then on. */
    MorvaneScadaPointMimeData(QDrag* drag, uint pid);
    /* The named form; same hot spot and hand-over. */
    MorvaneScadaPointMimeData(QDrag* drag, uint pid, const QString& fullName, const QString& description);

    uint pointPid() const { return m_pointPid; }
    QString fullName() const { return m_fullName; }
    QString description() const { return m_description; }
    /* Always (0,0); the drag keeps its own hot spot. */
    QPoint hotSopt() const { return m_hotSpot; }

    /* Drags the point from source (copy or move, copy by default) and
     * returns the drop action. The drag is left to source to delete. */
    static Qt::DropAction execDrag(uint pid, QWidget* source);
    static Qt::DropAction execDrag(uint pid, const QString& fullName, const QString& description,
                                   QWidget* source);

private:
    void attachTo(QDrag* drag, const QByteArray& payload);

    uint m_pointPid = 0;
    QPoint m_hotSpot;
    QString m_fullName;
    QString m_description;
};

namespace Morvane {

/* One item of the point browser; objectType -1 and id 0 mark an invalid
 * item. The browser that fills the list gives the strings their meaning. */
struct MVSHARED_EXPORT BrowerItemInfo {
    qint32 objectType = -1;
    qint32 id = 0;
    QString name;
    QString fullName;
    QString description;
    QString extraText;
};

} // namespace Morvane

class MVSHARED_EXPORT MVPointMimeData : public QMimeData
{
    Q_OBJECT

public:
    MVPointMimeData() = default;

    /* The first item, or the invalid item when the list is empty. */
    Morvane::BrowerItemInfo getData() const;
    const QList<Morvane::BrowerItemInfo>& getDataList() const { return dataList; }
    void setDataList(const QList<Morvane::BrowerItemInfo>& list);

private:
    QList<Morvane::BrowerItemInfo> dataList;
};

#endif
