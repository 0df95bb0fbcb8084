/*
 * pointmimedata_test.cpp: the drag-and-drop payloads of points under the
 * offscreen platform: their formats and bytes, hot spots, ownership by the
 * drag, and drags that always end (a guard cancels any drag still running).
 */
#include <MVShared/PointMimeData.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtGui/QDrag>
#include <QtWidgets/QWidget>

#include <gtest/gtest.h>

namespace {

const QString Format = QStringLiteral("application/morvane-scadapoint");

/* Cancels the drag if the platform's drag loop is still running after a
 * while, so that a test can never hang on a missing mouse release. */
class DragGuard
{
public:
    DragGuard()
    {
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, [] { QDrag::cancel(); });
        m_timer.start(2000);
    }

private:
    QTimer m_timer;
};

Morvane::BrowerItemInfo browserItem(int id, const QString& name)
{
    Morvane::BrowerItemInfo item;
    item.objectType = 1;
    item.id = id;
    item.name = name;
    item.fullName = QStringLiteral("Plant.") + name;
    item.description = QStringLiteral("d");
    item.extraText = QStringLiteral("x");
    return item;
}

} // namespace

TEST(ScadaPointMimeData, MimeFormatTextIsExact)
{
    EXPECT_EQ(Morvane::scadaPointMimeFormat(), Format);
}

TEST(ScadaPointMimeData, IdOnlyFormCarriesTheDecimalDigits)
{
    QWidget source;
    QDrag drag(&source);
    auto* mime = new MorvaneScadaPointMimeData(&drag, 42);
    EXPECT_EQ(drag.mimeData(), mime);
    EXPECT_EQ(mime->formats(), QStringList{ Format });
    EXPECT_EQ(mime->data(Format), QByteArray("42"));
    EXPECT_EQ(mime->pointPid(), 42u);
    EXPECT_TRUE(mime->fullName().isEmpty());
    EXPECT_TRUE(mime->description().isEmpty());
}

TEST(ScadaPointMimeData, NamedFormCarriesTheUtf8FullNameOnly)
{
    QWidget source;
    QDrag drag(&source);
    auto* mime = new MorvaneScadaPointMimeData(&drag, 42, QStringLiteral("Plant.P1"), QStringLiteral("any"));
    EXPECT_EQ(mime->data(Format), QByteArray("Plant.P1"));
    EXPECT_EQ(mime->fullName(), QStringLiteral("Plant.P1"));
    EXPECT_EQ(mime->description(), QStringLiteral("any"));
    EXPECT_EQ(mime->pointPid(), 42u);

    QDrag other(&source);
    auto* umlaut = new MorvaneScadaPointMimeData(&other, 7, QStringLiteral("Pumpe.Fühler"), QString());
    EXPECT_EQ(umlaut->data(Format), QStringLiteral("Pumpe.Fühler").toUtf8());
}

TEST(ScadaPointMimeData, HotSoptIsOriginInBothFormsWhileTheDragHotSpotIsFiveFive)
{
    QWidget source;
    QDrag idDrag(&source);
    auto* idOnly = new MorvaneScadaPointMimeData(&idDrag, 1);
    QDrag namedDrag(&source);
    auto* named = new MorvaneScadaPointMimeData(&namedDrag, 1, QStringLiteral("N"), QStringLiteral("D"));
    EXPECT_EQ(idOnly->hotSopt(), QPoint(0, 0));
    EXPECT_EQ(named->hotSopt(), QPoint(0, 0));
    EXPECT_EQ(idDrag.hotSpot(), QPoint(5, 5));
    EXPECT_EQ(namedDrag.hotSpot(), QPoint(5, 5));
}

TEST(ScadaPointMimeData, TheDragOwnsTheMimeDataAndDeletesItWithItself)
{
    QWidget source;
    auto* drag = new QDrag(&source);
    QPointer<MorvaneScadaPointMimeData> mime = new MorvaneScadaPointMimeData(drag, 5);
    bool destroyed = false;
    QObject::connect(mime.data(), &QObject::destroyed, [&] { destroyed = true; });
    delete drag;
    EXPECT_TRUE(destroyed);
    EXPECT_TRUE(mime.isNull());
}

TEST(ScadaPointMimeData, ExecDragReturnsADropActionAndLeavesTheDragToTheSource)
{
    QWidget source;
    source.show();
    DragGuard guard;
    QElapsedTimer clock;
    clock.start();
    const Qt::DropAction idAction = MorvaneScadaPointMimeData::execDrag(42, &source);
    const Qt::DropAction namedAction =
        MorvaneScadaPointMimeData::execDrag(42, QStringLiteral("Plant.P1"), QStringLiteral("d"), &source);
    EXPECT_LT(clock.elapsed(), 10000);
    // Nobody accepts the drop offscreen: the drags end without an action.
    EXPECT_EQ(idAction, Qt::IgnoreAction);
    EXPECT_EQ(namedAction, Qt::IgnoreAction);

    const QList<QDrag*> drags = source.findChildren<QDrag*>();
    ASSERT_EQ(drags.size(), 2);
    for (QDrag* drag : drags) {
        auto* mime = qobject_cast<MorvaneScadaPointMimeData*>(drag->mimeData());
        ASSERT_NE(mime, nullptr);
        EXPECT_EQ(mime->pointPid(), 42u);
        EXPECT_EQ(drag->hotSpot(), QPoint(5, 5));
    }
    const QList<QByteArray> payloads{ drags[0]->mimeData()->data(Format), drags[1]->mimeData()->data(Format) };
    EXPECT_TRUE(payloads.contains(QByteArray("42")));
    EXPECT_TRUE(payloads.contains(QByteArray("Plant.P1")));
}

TEST(PointMimeData, GetDataOnAnEmptyListReturnsTheInvalidItem)
{
    const MVPointMimeData mime;
    const Morvane::BrowerItemInfo item = mime.getData();
    EXPECT_EQ(item.objectType, -1);
    EXPECT_EQ(item.id, 0);
    EXPECT_TRUE(item.name.isEmpty() && item.fullName.isEmpty());
    EXPECT_TRUE(item.description.isEmpty() && item.extraText.isEmpty());
    EXPECT_TRUE(mime.formats().isEmpty());
    EXPECT_TRUE(mime.getDataList().isEmpty());
}

TEST(PointMimeData, GetDataReturnsTheFirstItemOfTheList)
{
    MVPointMimeData mime;
    mime.setDataList({ browserItem(200001, QStringLiteral("P1")), browserItem(200002, QStringLiteral("P2")) });
    EXPECT_EQ(mime.getData().id, 200001);
    EXPECT_EQ(mime.getData().fullName, QStringLiteral("Plant.P1"));
    ASSERT_EQ(mime.getDataList().size(), 2);
    EXPECT_EQ(mime.getDataList()[1].name, QStringLiteral("P2"));
    EXPECT_TRUE(mime.formats().isEmpty());
}

TEST(PointMimeData, SetDataListReplacesTheListAndKeepsASharedOne)
{
    MVPointMimeData mime;
    mime.setDataList({ browserItem(1, QStringLiteral("A")) });
    const QList<Morvane::BrowerItemInfo> same = mime.getDataList();
    mime.setDataList(same);
    EXPECT_TRUE(mime.getDataList().isSharedWith(same));
    mime.setDataList({ browserItem(2, QStringLiteral("B")) });
    EXPECT_EQ(mime.getData().id, 2);
    EXPECT_EQ(mime.getDataList().size(), 1);
}

TEST(PointMimeData, DropTargetsReachTheMembersByCasting)
{
    MVPointMimeData mime;
    mime.setDataList({ browserItem(3, QStringLiteral("C")) });
    const QMimeData* asSeenByTarget = &mime;
    const auto* cast = qobject_cast<const MVPointMimeData*>(asSeenByTarget);
    ASSERT_NE(cast, nullptr);
    EXPECT_EQ(cast->getData().id, 3);
    EXPECT_EQ(qobject_cast<const MorvaneScadaPointMimeData*>(asSeenByTarget), nullptr);
}
