/*
 * actionstreams_test.cpp: the event action, tag action and named-stream
 * records, their layouts and the document versions their readers honour.
 */
#include <MVShared/ScadaActionStream.h>

#include "streambytes.h"

#include <gtest/gtest.h>

namespace {

/* A tag action record as a document of the given version lays it out. */
QByteArray tagActionBytes(int version)
{
    return bytesOf(defaultSetup(), [&](QDataStream& s) {
        s << qint32(11) << QByteArray("payload") << QStringLiteral("text");
        if (version < 262)
            s << QStringLiteral("old text") << qint32(77);
        if (version >= 848)
            s << qint32(1) << QStringLiteral("colour") << QVariant(QStringLiteral("red"));
        s << qint32(0x5a5a5a5a); // whatever follows the record
    });
}

QByteArray eventActionBytes(int version)
{
    return bytesOf(defaultSetup(), [&](QDataStream& s) {
        s << qint32(4) << qint32(6) << QByteArray("go");
        if (version >= 864)
            s << qint32(1) << QStringLiteral("target") << QVariant(12);
        s << qint32(0x5a5a5a5a);
    });
}

/* Reads the record and then the marker that follows it. */
template <typename Record>
qint32 readRecordThenMarker(const QByteArray& bytes, Record& record)
{
    qint32 marker = 0;
    readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> record >> marker; });
    return marker;
}

} // namespace

TEST(TagAction, Version261ReadsTwoLegacyFieldsAfterTextAndNoPropertyBlock)
{
    ScadaTagActionStream action;
    action.setVersion(261);
    EXPECT_EQ(readRecordThenMarker(tagActionBytes(261), action), 0x5a5a5a5a);
    EXPECT_EQ(action.actionType, 11);
    EXPECT_EQ(action.data(), QByteArray("payload"));
    EXPECT_EQ(action.text, QStringLiteral("text"));
    EXPECT_EQ(action.legacyText, QStringLiteral("old text"));
    EXPECT_EQ(action.legacyValue, 77);
    EXPECT_TRUE(action.properties.isEmpty());
}

TEST(TagAction, Versions262To847ReadNeitherLegacyFieldsNorPropertyBlock)
{
    for (const int version : { 262, 500, 847 }) {
        ScadaTagActionStream action;
        action.setVersion(version);
        EXPECT_EQ(readRecordThenMarker(tagActionBytes(version), action), 0x5a5a5a5a) << version;
        EXPECT_TRUE(action.legacyText.isNull());
        EXPECT_TRUE(action.properties.isEmpty());
    }
}

TEST(TagAction, Version848AndLaterReadThePropertyBlock)
{
    for (const int version : { 848, 896 }) {
        ScadaTagActionStream action;
        action.setVersion(version);
        EXPECT_EQ(readRecordThenMarker(tagActionBytes(version), action), 0x5a5a5a5a) << version;
        EXPECT_EQ(action.getProperty(QStringLiteral("colour")), QVariant(QStringLiteral("red")));
    }
}

TEST(TagAction, WritingNeverWritesLegacyOrRuntimeFieldsSoAnOldVersionMisreadsIt)
{
    ScadaTagActionStream action;
    action.actionType = 11;
    action.setData("payload");
    action.text = QStringLiteral("text");
    action.legacyText = QStringLiteral("never written");
    action.legacyValue = 99;
    action.runtimeValue = 123456789;
    action.setProperty(QStringLiteral("colour"), QStringLiteral("red"));
    const QByteArray written = bytesOf(defaultSetup(), [&](QDataStream& s) { s << action << qint32(0x5a5a5a5a); });
    EXPECT_EQ(written.toHex(), tagActionBytes(896).toHex());

    ScadaTagActionStream misread;
    misread.setVersion(261);
    EXPECT_NE(readRecordThenMarker(written, misread), 0x5a5a5a5a);
    EXPECT_NE(misread.legacyValue, 99);
}

TEST(TagAction, CopiesCarryTheRuntimeValueAndVersion)
{
    ScadaTagActionStream action;
    action.runtimeValue = 42;
    action.setVersion(300);
    const ScadaTagActionStream copy(action);
    ScadaTagActionStream assigned;
    assigned = action;
    EXPECT_EQ(copy.runtimeValue, 42);
    EXPECT_EQ(assigned.runtimeValue, 42);
    EXPECT_EQ(assigned.version(), 300);
    EXPECT_EQ(ScadaTagActionStream().version(), 896);
}

TEST(EventAction, Version863StopsAfterData)
{
    ScadaEventActionStream action;
    action.setVersion(863);
    EXPECT_EQ(readRecordThenMarker(eventActionBytes(863), action), 0x5a5a5a5a);
    EXPECT_EQ(action.actionType, 4);
    EXPECT_EQ(action.trigger(), 6);
    EXPECT_EQ(action.data(), QByteArray("go"));
    EXPECT_TRUE(action.properties.isEmpty());
}

TEST(EventAction, Version864ReadsThePropertyBlock)
{
    ScadaEventActionStream action;
    action.setVersion(864);
    EXPECT_EQ(readRecordThenMarker(eventActionBytes(864), action), 0x5a5a5a5a);
    EXPECT_EQ(action.getProperty(QStringLiteral("target")), QVariant(12));
}

TEST(EventAction, WritesTheNewestLayoutWhateverItsVersion)
{
    ScadaEventActionStream action;
    action.setVersion(100);
    action.actionType = 4;
    action.setTrigger(6);
    action.setData("go");
    action.setProperty(QStringLiteral("target"), 12);
    const QByteArray written = bytesOf(defaultSetup(), [&](QDataStream& s) { s << action << qint32(0x5a5a5a5a); });
    EXPECT_EQ(written.toHex(), eventActionBytes(896).toHex());
}

TEST(EventAction, PropertyBlockAddsToTheMapAndOverwritesEqualKeys)
{
    ScadaEventActionStream action;
    action.setProperty(QStringLiteral("target"), 1);
    action.setProperty(QStringLiteral("kept"), 2);
    readRecordThenMarker(eventActionBytes(896), action);
    EXPECT_EQ(action.getProperty(QStringLiteral("target")), QVariant(12));
    EXPECT_EQ(action.getProperty(QStringLiteral("kept")), QVariant(2));
    EXPECT_FALSE(action.getProperty(QStringLiteral("missing")).isValid());
}

TEST(NamedStream, WritesThePropertyBlockWithStringKeysInAscendingOrder)
{
    ScadaNamedStream named;
    named.setProperty(QStringLiteral("b"), 2);
    named.setProperty(QStringLiteral("a"), QStringLiteral("one"));
    const QByteArray written = bytesOf(defaultSetup(), [&](QDataStream& s) { named.toStream(s); });
    const QByteArray expected = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << qint32(2) << QStringLiteral("a") << QVariant(QStringLiteral("one")) << QStringLiteral("b")
          << QVariant(2);
    });
    EXPECT_EQ(written.toHex(), expected.toHex());

    ScadaNamedStream back;
    back.setProperty(QStringLiteral("c"), 3);
    readBytes(written, defaultSetup(), [&](QDataStream& s) { back.fromStream(s); });
    EXPECT_EQ(back.getProperty(QStringLiteral("a")), QVariant(QStringLiteral("one")));
    EXPECT_EQ(back.getProperty(QStringLiteral("b")), QVariant(2));
    EXPECT_EQ(back.getProperty(QStringLiteral("c")), QVariant(3));
}

TEST(NamedStream, FromStreamWithNegativeCountLeavesTheMapUnchanged)
{
    ScadaNamedStream named;
    named.setProperty(QStringLiteral("kept"), 1);
    const QByteArray bytes = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << qint32(-2) << QStringLiteral("a") << QVariant(1);
    });
    EXPECT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) { named.fromStream(s); }), QDataStream::Ok);
    EXPECT_EQ(named.properties.size(), 1);
    EXPECT_EQ(named.getProperty(QStringLiteral("kept")), QVariant(1));
}
