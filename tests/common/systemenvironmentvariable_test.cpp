/*
 * systemenvironmentvariable_test.cpp: the process-wide settings store and
 * the settings-file path of an application, run in the QCoreApplication of
 * main.cpp under the application name Viewer.
 */
#include <MVShared/SystemEnvironmentVariable.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>

#include <gtest/gtest.h>

namespace {

/* Every key member beside the text it must have. */
const struct {
    const QString& key;
    const char* text;
} kKeys[] = {
    {SystemEnvironmentVariable::AppMode, "AppMode"},
    {SystemEnvironmentVariable::DatabaseDriver, "DatabaseDriver"},
    {SystemEnvironmentVariable::EmbeddedPassword, "EmbeddedPassword"},
    {SystemEnvironmentVariable::HistoryDataBaseVersion, "HistoryDataBaseVersion"},
    {SystemEnvironmentVariable::IsScriptFromServer, "IsScriptFromServer"},
    {SystemEnvironmentVariable::IsStudyMode, "IsStudyMode"},
    {SystemEnvironmentVariable::LastOpenDir, "LastOpenDir"},
    {SystemEnvironmentVariable::MasterDataBaseVersion, "MasterDataBaseVersion"},
    {SystemEnvironmentVariable::MaxBlinkTime, "MaxBlinkTime"},
    {SystemEnvironmentVariable::MonthDayDateFormat, "MonthDayDateFormat"},
    {SystemEnvironmentVariable::OperationMode, "OperationMode"},
    {SystemEnvironmentVariable::MorvaneStartTime, "MorvaneStartTime"},
    {SystemEnvironmentVariable::ProjectPath, "ProjectPath"},
    {SystemEnvironmentVariable::SessionNo, "SessionNo"},
    {SystemEnvironmentVariable::ShortTimeFormat, "ShortTimeFormat"},
    {SystemEnvironmentVariable::UseControlConfirm, "UseControlConfirm"},
    {SystemEnvironmentVariable::UseEmbeddedPassword, "UseEmbeddedPassword"},
    {SystemEnvironmentVariable::UseMinuteHistory, "UseMinuteHistory"},
    {SystemEnvironmentVariable::YearLogStartDate, "YearLogStartDate"},
    {SystemEnvironmentVariable::YearMonthDateFormat, "YearMonthDateFormat"},
};

class SystemEnvironmentVariableTest : public ::testing::Test
{
protected:
    void TearDown() override { SystemEnvironmentVariable::setProperty(QStringLiteral("test.key"), QVariant()); }
};

class SettingPathTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_applicationName = QCoreApplication::applicationName();
        QCoreApplication::setApplicationName(QStringLiteral("Viewer"));
        clearSession();
    }
    void TearDown() override
    {
        QCoreApplication::setApplicationName(m_applicationName);
        clearSession();
    }

    static void clearSession()
    {
        SystemEnvironmentVariable::setProperty(SystemEnvironmentVariable::SessionNo, QVariant());
    }

    /* The directory part every path starts with. */
    static QString directory() { return QCoreApplication::applicationDirPath() + QDir::separator(); }

private:
    QString m_applicationName;
};

} // namespace

TEST_F(SystemEnvironmentVariableTest, KeyMembersCarryTheirOwnNames)
{
    for (const auto& entry : kKeys)
        EXPECT_EQ(entry.key, QLatin1String(entry.text));
}

TEST_F(SystemEnvironmentVariableTest, UnknownKeyReadsAsZeroAndEmpty)
{
    EXPECT_EQ(SystemEnvironmentVariable::getIntProperty(QStringLiteral("never.set")), 0);
    EXPECT_TRUE(SystemEnvironmentVariable::getStringProperty(QStringLiteral("never.set")).isEmpty());
    EXPECT_FALSE(SystemEnvironmentVariable::getProperty(QStringLiteral("never.set")).isValid());
}

TEST_F(SystemEnvironmentVariableTest, SetPropertyInsertsThenReplaces)
{
    SystemEnvironmentVariable::setProperty(QStringLiteral("test.key"), 7);
    EXPECT_EQ(SystemEnvironmentVariable::getProperty(QStringLiteral("test.key")), QVariant(7));
    SystemEnvironmentVariable::setProperty(QStringLiteral("test.key"), QStringLiteral("seven"));
    EXPECT_EQ(SystemEnvironmentVariable::getProperty(QStringLiteral("test.key")), QVariant(QStringLiteral("seven")));
}

TEST_F(SystemEnvironmentVariableTest, KeysAreCaseSensitive)
{
    SystemEnvironmentVariable::setProperty(QStringLiteral("test.key"), 7);
    EXPECT_FALSE(SystemEnvironmentVariable::getProperty(QStringLiteral("TEST.KEY")).isValid());
}

TEST_F(SystemEnvironmentVariableTest, IntAndStringReadsConvertTheStoredValue)
{
    SystemEnvironmentVariable::setProperty(QStringLiteral("test.key"), QStringLiteral("42"));
    EXPECT_EQ(SystemEnvironmentVariable::getIntProperty(QStringLiteral("test.key")), 42);
    SystemEnvironmentVariable::setProperty(QStringLiteral("test.key"), QStringLiteral("forty-two"));
    EXPECT_EQ(SystemEnvironmentVariable::getIntProperty(QStringLiteral("test.key")), 0);
    SystemEnvironmentVariable::setProperty(QStringLiteral("test.key"), 2019);
    EXPECT_EQ(SystemEnvironmentVariable::getStringProperty(QStringLiteral("test.key")), QStringLiteral("2019"));
    SystemEnvironmentVariable::setProperty(QStringLiteral("test.key"), true);
    EXPECT_EQ(SystemEnvironmentVariable::getIntProperty(QStringLiteral("test.key")), 1);
    EXPECT_EQ(SystemEnvironmentVariable::getStringProperty(QStringLiteral("test.key")), QStringLiteral("true"));
}

TEST_F(SystemEnvironmentVariableTest, InstancesShareTheOneStore)
{
    SystemEnvironmentVariable first;
    SystemEnvironmentVariable second(first);
    second = first;
    first.setProperty(QStringLiteral("test.key"), 5);
    EXPECT_EQ(second.getIntProperty(QStringLiteral("test.key")), 5);
    EXPECT_EQ(SystemEnvironmentVariable::getIntProperty(QStringLiteral("test.key")), 5);
}

TEST_F(SettingPathTest, EmptyNameFlagsAndMissingSessionGiveTheDocumentedFileNames)
{
    EXPECT_EQ(Morvane::getSettingPath(QString(), false, true), directory() + QStringLiteral("Viewer.settings"));
    EXPECT_EQ(Morvane::getSettingPath(QStringLiteral("a"), false, false), directory() + QStringLiteral("a.settings"));
    EXPECT_EQ(Morvane::getSettingPath(QStringLiteral("trend"), true, true),
              directory() + QStringLiteral("Viewer.trend.settings"));
}

TEST_F(SettingPathTest, SessionNumberFollowsTheNameWhenPerSession)
{
    SystemEnvironmentVariable::setProperty(SystemEnvironmentVariable::SessionNo, 2);
    EXPECT_EQ(Morvane::getSettingPath(QStringLiteral("trend"), true, true),
              directory() + QStringLiteral("Viewer.trend_2.settings"));
    EXPECT_EQ(Morvane::getSettingPath(QString(), true, true), directory() + QStringLiteral("Viewer_2.settings"));
    EXPECT_EQ(Morvane::getSettingPath(QStringLiteral("a"), true, false), directory() + QStringLiteral("a_2.settings"));
    EXPECT_EQ(Morvane::getSettingPath(QStringLiteral("a"), false, false), directory() + QStringLiteral("a.settings"));
}

TEST_F(SettingPathTest, SessionNumberIsWrittenAsADecimalInteger)
{
    SystemEnvironmentVariable::setProperty(SystemEnvironmentVariable::SessionNo, QStringLiteral("07"));
    EXPECT_EQ(Morvane::getSettingPath(QStringLiteral("a"), true, false), directory() + QStringLiteral("a_7.settings"));
    /* Any value that is set counts, even one that is no number. */
    SystemEnvironmentVariable::setProperty(SystemEnvironmentVariable::SessionNo, QStringLiteral("x"));
    EXPECT_EQ(Morvane::getSettingPath(QStringLiteral("a"), true, false), directory() + QStringLiteral("a_0.settings"));
}

TEST_F(SettingPathTest, EmptyNameWithoutAppNameIsJustTheSuffix)
{
    EXPECT_EQ(Morvane::getSettingPath(QString(), false, false), directory() + QStringLiteral(".settings"));
}

TEST_F(SettingPathTest, DirectoryKeepsForwardSlashesBeforeTheNativeSeparator)
{
    const QString path = Morvane::getSettingPath(QStringLiteral("a"), false, false);
    EXPECT_TRUE(path.startsWith(QCoreApplication::applicationDirPath())) << qPrintable(path);
    EXPECT_EQ(path.mid(QCoreApplication::applicationDirPath().size(), 1), QString(QDir::separator()));
}
