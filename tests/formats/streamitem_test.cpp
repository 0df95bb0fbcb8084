/*
 * streamitem_test.cpp: MorvaneStreamItem, its accessors and its stream
 * layout, byte for byte against streams built here field by field.
 */
#include <MVShared/MorvaneStreamItem.h>

#include "streambytes.h"

#include <QtCore/QPointF>
#include <QtCore/QRectF>

#include <gtest/gtest.h>

namespace {

MorvaneStreamItemPtr namedItem(const QString& className, const QString& widgetName)
{
    MorvaneStreamItemPtr item(new MorvaneStreamItem);
    item->className(className);
    item->setWidgetName(widgetName);
    return item;
}

/* A small tree: a widget with properties, a child holding a grandchild, an
 * auxiliary item, a tag action and an event action. */
MorvaneStreamItem sampleTree()
{
    MorvaneStreamItem root;
    root.className(QStringLiteral("ScadaButton"));
    root.setWidgetName(QStringLiteral("pump1Button"));
    root.setDescription(QStringLiteral("Pump 1"));
    root.setWidget(true);
    root.faceText(QStringLiteral("Start"));
    root.extraData = QByteArray("\x01\x02\x03", 3);
    root.transform = QTransform().translate(10, 20).rotate(90);
    root.setProperty(QStringLiteral("zeta"), 3.5);
    root.setProperty(QStringLiteral("alpha"), QStringLiteral("A"));
    root.setProperty(QStringLiteral("rect"), QRectF(1, 2, 3, 4));
    root.setProperty(QStringLiteral("list"), QVariantList{ 1, QStringLiteral("two") });

    MorvaneStreamItemPtr child = namedItem(QStringLiteral("ScadaGroup"), QStringLiteral("group"));
    child->childItems.append(namedItem(QStringLiteral("ScadaLabel"), QStringLiteral("label")));
    root.childItems.append(child);
    root.auxiliaryItems.append(namedItem(QStringLiteral("ScadaLine"), QString()));

    ScadaTagActionStreamPtr tag(new ScadaTagActionStream);
    tag->actionType = 7;
    tag->setData("tag");
    tag->text = QStringLiteral("Control Inhabit tagged");
    tag->setProperty(QStringLiteral("blink"), true);
    root.tagActions.append(tag);

    ScadaEventActionStreamPtr event(new ScadaEventActionStream);
    event->actionType = 2;
    event->setTrigger(1);
    event->setData("open");
    event->setProperty(QStringLiteral("display"), QStringLiteral("overview"));
    root.eventActions.append(event);
    return root;
}

/* One item written by hand in the documented order. */
struct Hand {
    QDataStream& s;

    void header(const QString& className, const QString& widgetName, const QString& description,
                bool isWidget, const QString& faceText)
    {
        s << className << widgetName << description << isWidget << faceText;
    }
    void leaf(const QString& className, const QString& widgetName)
    {
        header(className, widgetName, QString(), false, QString());
        s << qint32(0) << qint32(0) << QTransform() << QByteArray() << qint32(0) << qint32(0)
          << qint32(0);
    }
};

void writeSampleByHand(QDataStream& s)
{
    Hand hand{ s };
    hand.header(QStringLiteral("ScadaButton"), QStringLiteral("pump1Button"), QStringLiteral("Pump 1"),
                true, QStringLiteral("Start"));
    s << qint32(1);                                    // children
    hand.header(QStringLiteral("ScadaGroup"), QStringLiteral("group"), QString(), false, QString());
    s << qint32(1);
    hand.leaf(QStringLiteral("ScadaLabel"), QStringLiteral("label"));
    s << qint32(0) << QTransform() << QByteArray() << qint32(0) << qint32(0) << qint32(0);
    s << qint32(1);                                    // auxiliary items
    hand.leaf(QStringLiteral("ScadaLine"), QString());
    s << QTransform().translate(10, 20).rotate(90) << QByteArray("\x01\x02\x03", 3);
    s << qint32(4)                                     // properties, keys ascending, as bytes
      << QByteArray("alpha") << QVariant(QStringLiteral("A"))
      << QByteArray("list") << QVariant(QVariantList{ 1, QStringLiteral("two") })
      << QByteArray("rect") << QVariant(QRectF(1, 2, 3, 4))
      << QByteArray("zeta") << QVariant(3.5);
    s << qint32(1)                                     // tag action
      << qint32(7) << QByteArray("tag") << QStringLiteral("Control Inhabit tagged")
      << qint32(1) << QStringLiteral("blink") << QVariant(true);
    s << qint32(1)                                     // event action
      << qint32(2) << qint32(1) << QByteArray("open")
      << qint32(1) << QStringLiteral("display") << QVariant(QStringLiteral("overview"));
}

class StreamItemLayout : public ::testing::TestWithParam<StreamSetup> {};

} // namespace

TEST_P(StreamItemLayout, WritesTheDocumentedLayoutWithoutTouchingStreamSettings)
{
    const MorvaneStreamItem tree = sampleTree();
    const QByteArray written = bytesOf(GetParam(), [&](QDataStream& s) {
        s << tree;
        EXPECT_EQ(s.version(), GetParam().version);
        EXPECT_EQ(s.byteOrder(), GetParam().byteOrder);
    });
    EXPECT_EQ(written.toHex(), bytesOf(GetParam(), writeSampleByHand).toHex());
}

TEST_P(StreamItemLayout, ReadsHandBuiltStreamIntoTheSameTree)
{
    const QByteArray bytes = bytesOf(GetParam(), writeSampleByHand);
    MorvaneStreamItem item;
    EXPECT_EQ(readBytes(bytes, GetParam(), [&](QDataStream& s) {
                  s >> item;
                  EXPECT_TRUE(s.atEnd());
              }),
              QDataStream::Ok);
    EXPECT_EQ(item.className(), QStringLiteral("ScadaButton"));
    EXPECT_EQ(item.widgetName(), QStringLiteral("pump1Button"));
    EXPECT_TRUE(item.isWidget());
    EXPECT_EQ(item.transform, QTransform().translate(10, 20).rotate(90));
    ASSERT_EQ(item.childItems.size(), 1);
    ASSERT_EQ(item.childItems[0]->childItems.size(), 1);
    EXPECT_EQ(item.childItems[0]->childItems[0]->widgetName(), QStringLiteral("label"));
    ASSERT_EQ(item.auxiliaryItems.size(), 1);
    EXPECT_EQ(item.auxiliaryItems[0]->className(), QStringLiteral("ScadaLine"));
    EXPECT_EQ(item.property(QStringLiteral("rect")), QVariant(QRectF(1, 2, 3, 4)));
    ASSERT_EQ(item.tagActions.size(), 1);
    EXPECT_EQ(item.tagActions[0]->getProperty(QStringLiteral("blink")), QVariant(true));
    ASSERT_EQ(item.eventActions.size(), 1);
    EXPECT_EQ(item.eventActions[0]->trigger(), 1);
    EXPECT_EQ(bytesOf(GetParam(), [&](QDataStream& s) { s << item; }), bytes);
}

INSTANTIATE_TEST_SUITE_P(VersionsAndByteOrders, StreamItemLayout,
                         ::testing::Values(StreamSetup{ QDataStream::Qt_5_15, QDataStream::BigEndian },
                                           StreamSetup{ QDataStream::Qt_5_15, QDataStream::LittleEndian },
                                           StreamSetup{ QDataStream::Qt_4_8, QDataStream::BigEndian },
                                           StreamSetup{ QDataStream::Qt_4_8, QDataStream::LittleEndian }));

TEST(StreamItem, DefaultItemWritesEmptyFieldsAndZeroCountsAndReadsBackEqual)
{
    const MorvaneStreamItem item;
    const QByteArray written = bytesOf(defaultSetup(), [&](QDataStream& s) { s << item; });
    const QByteArray expected = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << QString() << QString() << QString() << false << QString() << qint32(0) << qint32(0)
          << QTransform() << QByteArray() << qint32(0) << qint32(0) << qint32(0);
    });
    EXPECT_EQ(written.toHex(), expected.toHex());

    MorvaneStreamItem back;
    EXPECT_EQ(readBytes(written, defaultSetup(), [&](QDataStream& s) { s >> back; }), QDataStream::Ok);
    EXPECT_TRUE(back.className().isNull());
    EXPECT_FALSE(back.isWidget());
    EXPECT_TRUE(back.transform.isIdentity());
    EXPECT_TRUE(back.extraData.isNull());
    EXPECT_TRUE(back.childItems.isEmpty() && back.auxiliaryItems.isEmpty());
    EXPECT_TRUE(back.properties.isEmpty() && back.tagActions.isEmpty() && back.eventActions.isEmpty());
    EXPECT_EQ(bytesOf(defaultSetup(), [&](QDataStream& s) { s << back; }), written);
}

TEST(StreamItem, ThreeLevelTreeHandsTheRootVersionToEveryNestedItemAndAction)
{
    MorvaneStreamItem root = sampleTree();
    const QByteArray bytes = bytesOf(defaultSetup(), [&](QDataStream& s) { s << root; });
    MorvaneStreamItem back;
    back.setVersion(900);
    ASSERT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> back; }), QDataStream::Ok);
    ASSERT_EQ(back.childItems.size(), 1);
    EXPECT_EQ(back.childItems[0]->version(), 900);
    ASSERT_EQ(back.childItems[0]->childItems.size(), 1);
    EXPECT_EQ(back.childItems[0]->childItems[0]->version(), 900);
    EXPECT_EQ(back.auxiliaryItems[0]->version(), 900);
    EXPECT_EQ(back.tagActions[0]->version(), 900);
    EXPECT_EQ(back.eventActions[0]->version(), 900);
}

TEST(StreamItem, ExistPropertyIsFalseForAStoredInvalidValueAndTrueForZero)
{
    MorvaneStreamItem item;
    item.setProperty(QStringLiteral("blank"), QVariant());
    EXPECT_FALSE(item.existProperty(QStringLiteral("blank")));
    EXPECT_TRUE(item.dynamicPropertyNames().contains(QStringLiteral("blank")));
    item.setProperty(QStringLiteral("blank"), 0);
    EXPECT_TRUE(item.existProperty(QStringLiteral("blank")));
    EXPECT_FALSE(item.existProperty(QStringLiteral("missing")));
}

TEST(StreamItem, ExistPropertyLooksTheNameUpThroughLatin1)
{
    MorvaneStreamItem item;
    item.setProperty(QStringLiteral("?"), 1);
    // A name outside Latin-1 becomes "?" on the way, as keys do on the wire.
    EXPECT_TRUE(item.existProperty(QString(QChar(0x4e2d))));
}

TEST(StreamItem, DynamicPropertyNamesAreAscendingWhateverTheInsertionOrder)
{
    MorvaneStreamItem item;
    item.setProperty(QStringLiteral("m"), 1);
    item.setProperty(QStringLiteral("b"), 2);
    item.setProperty(QStringLiteral("z"), 3);
    item.setProperty(QStringLiteral("a"), 4);
    EXPECT_EQ(item.dynamicPropertyNames(),
              QStringList({ QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("m"), QStringLiteral("z") }));
}

TEST(StreamItem, NegativeCountReadsAsEmptyListAndReadingContinues)
{
    const QByteArray bytes = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << QStringLiteral("C") << QString() << QString() << true << QString()
          << qint32(-5)                                  // children
          << qint32(-1)                                  // auxiliary items
          << QTransform().scale(2, 2) << QByteArray("x")
          << qint32(-3)                                  // properties
          << qint32(-7) << qint32(1)                     // no tag actions, one event action
          << qint32(4) << qint32(5) << QByteArray("e") << qint32(0);
    });
    MorvaneStreamItem item;
    EXPECT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) {
                  s >> item;
                  EXPECT_TRUE(s.atEnd());
              }),
              QDataStream::Ok);
    EXPECT_TRUE(item.childItems.isEmpty());
    EXPECT_TRUE(item.auxiliaryItems.isEmpty());
    EXPECT_EQ(item.transform, QTransform().scale(2, 2));
    EXPECT_EQ(item.extraData, QByteArray("x"));
    EXPECT_TRUE(item.properties.isEmpty());
    EXPECT_TRUE(item.tagActions.isEmpty());
    ASSERT_EQ(item.eventActions.size(), 1);
    EXPECT_EQ(item.eventActions[0]->trigger(), 5);
}

TEST(StreamItem, ReadingIntoAFilledItemAppendsToItsListsAndOverwritesEqualKeys)
{
    MorvaneStreamItem source = sampleTree();
    const QByteArray bytes = bytesOf(defaultSetup(), [&](QDataStream& s) { s << source; });
    MorvaneStreamItem item;
    item.childItems.append(namedItem(QStringLiteral("Old"), QString()));
    item.setProperty(QStringLiteral("alpha"), 1);
    item.setProperty(QStringLiteral("kept"), 2);
    ASSERT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> item; }), QDataStream::Ok);
    ASSERT_EQ(item.childItems.size(), 2);
    EXPECT_EQ(item.childItems[0]->className(), QStringLiteral("Old"));
    EXPECT_EQ(item.property(QStringLiteral("alpha")), QVariant(QStringLiteral("A")));
    EXPECT_EQ(item.property(QStringLiteral("kept")), QVariant(2));
}

TEST(StreamItem, ByteArrayKeysStopAtTheFirstZeroByte)
{
    const QByteArray bytes = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << QString() << QString() << QString() << false << QString() << qint32(0) << qint32(0)
          << QTransform() << QByteArray() << qint32(1) << QByteArray("name\0tail", 9) << QVariant(1)
          << qint32(0) << qint32(0);
    });
    MorvaneStreamItem item;
    ASSERT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> item; }), QDataStream::Ok);
    EXPECT_EQ(item.dynamicPropertyNames(), QStringList{ QStringLiteral("name") });
}

TEST(StreamItem, CopiesShareNestedItemsAndActions)
{
    const MorvaneStreamItem source = sampleTree();
    MorvaneStreamItem copy;
    const MorvaneStreamItem& result = (copy = source);
    EXPECT_EQ(&result, &copy);
    EXPECT_EQ(copy.className(), source.className());
    EXPECT_EQ(copy.childItems[0].data(), source.childItems[0].data());
    EXPECT_EQ(copy.tagActions[0].data(), source.tagActions[0].data());
    const MorvaneStreamItem constructed(source);
    EXPECT_EQ(constructed.eventActions[0].data(), source.eventActions[0].data());
    copy.setProperty(QStringLiteral("alpha"), 9);
    EXPECT_EQ(source.property(QStringLiteral("alpha")), QVariant(QStringLiteral("A")));
}

TEST(StreamItem, AccessorsSetAndReturnTheFields)
{
    MorvaneStreamItem item;
    EXPECT_EQ(item.version(), 896);
    item.setVersion(700);
    item.className(QStringLiteral("K"));
    item.setDescription(QStringLiteral("D"));
    item.faceText(QStringLiteral("F"));
    EXPECT_EQ(item.version(), 700);
    EXPECT_EQ(item.className(), QStringLiteral("K"));
    EXPECT_EQ(item.description(), QStringLiteral("D"));
    EXPECT_EQ(item.faceText(), QStringLiteral("F"));
    EXPECT_FALSE(item.property(QStringLiteral("none")).isValid());
}

TEST(StreamItem, ReadsOldDocumentsByTheRootVersion)
{
    // A tag action of a 261 document carries legacy fields and no properties,
    // an event action of an 847 or 863 document no properties either.
    for (const int version : { 261, 847, 863 }) {
        const QByteArray bytes = bytesOf(defaultSetup(), [&](QDataStream& s) {
            s << QStringLiteral("Old") << QString() << QString() << true << QString() << qint32(0)
              << qint32(0) << QTransform() << QByteArray() << qint32(0);
            s << qint32(1) << qint32(3) << QByteArray("d") << QStringLiteral("t");
            if (version < 262)
                s << QStringLiteral("legacy") << qint32(44);
            if (version >= 848)
                s << qint32(1) << QStringLiteral("k") << QVariant(5);
            s << qint32(1) << qint32(8) << qint32(9) << QByteArray("e");
        });
        MorvaneStreamItem item;
        item.setVersion(version);
        EXPECT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) {
                      s >> item;
                      EXPECT_TRUE(s.atEnd()) << version;
                  }),
                  QDataStream::Ok)
            << version;
        ASSERT_EQ(item.tagActions.size(), 1);
        EXPECT_EQ(item.tagActions[0]->text, QStringLiteral("t"));
        EXPECT_EQ(item.tagActions[0]->legacyText, version < 262 ? QStringLiteral("legacy") : QString());
        EXPECT_EQ(item.tagActions[0]->getProperty(QStringLiteral("k")), version >= 848 ? QVariant(5) : QVariant());
        ASSERT_EQ(item.eventActions.size(), 1);
        EXPECT_EQ(item.eventActions[0]->trigger(), 9);
        EXPECT_TRUE(item.eventActions[0]->properties.isEmpty());
    }
}
