/*
 * morvanertserversetting_test.cpp: the server address dialog on the
 * offscreen platform at 96 DPI: its form, the addresses it reads from and
 * hands back to the middleware, and openServerSetting driven the way an
 * operator would, bounded in time. The process has its own server-setting
 * file (widgetmain.cpp).
 */
#include "isolatedsettings.h"

#include <MVShared/HiDPI.h>
#include <MVShared/MorvaneRTServerSetting.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QFile>
#include <QtCore/QTimer>
#include <QtCore/QTranslator>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include <gtest/gtest.h>

#include <functional>

namespace {

/* Marks every text looked up under the dialog's context. */
class MarkingTranslator : public QTranslator
{
public:
    QString translate(const char* context, const char* sourceText, const char* disambiguation = nullptr,
                      int n = -1) const override
    {
        Q_UNUSED(disambiguation)
        Q_UNUSED(n)
        if (qstrcmp(context, "MorvaneRTServerSetting") != 0)
            return QString();
        return QStringLiteral("[%1]").arg(QString::fromLatin1(sourceText));
    }
    bool isEmpty() const override { return false; }
};

template <typename T>
T* child(QWidget* dialog, const char* name)
{
    return dialog->findChild<T*>(QString::fromLatin1(name));
}

class ServerSettingDialogTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_FALSE(settingsFile().empty()); }

    static std::string settingsFile() { return mvtest::useIsolatedSettings("mvcommon-widgets"); }

    static void configure(const char* first, const char* second)
    {
        ASSERT_EQ(DravoPlus::updateServerSetting(nullptr, first, second), 0);
    }

    /* The middleware's default setting as it reports it. */
    static QStringList configured()
    {
        ObjectNames names;
        EXPECT_EQ(DravoPlus::GetServerAddress(nullptr, names), 0);
        QStringList addresses;
        for (int i = 0; i < names.count; ++i)
            addresses.append(QString::fromLatin1(names.names[i]));
        DravoPlus::DeatoryNameSeq(names);
        return addresses;
    }

    static QByteArray settingsFileBytes()
    {
        QFile file(QString::fromStdString(settingsFile()));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /*
     * Runs openServerSetting; once its dialog is the active modal window,
     * operate fills it in and closes it as an operator would. A dialog
     * still open after ten seconds is rejected, so the test cannot hang.
     */
    static int runOpenServerSetting(const std::function<void(MorvaneRTServerSetting*)>& operate, bool* operated)
    {
        *operated = false;
        QTimer poll;
        poll.setInterval(10);
        QObject::connect(&poll, &QTimer::timeout, [&] {
            auto* dialog = qobject_cast<MorvaneRTServerSetting*>(QApplication::activeModalWidget());
            if (!dialog || *operated)
                return;
            *operated = true;
            poll.stop();
            operate(dialog);
        });
        QTimer watchdog;
        watchdog.setSingleShot(true);
        QObject::connect(&watchdog, &QTimer::timeout, [] {
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                if (auto* dialog = qobject_cast<MorvaneRTServerSetting*>(widget))
                    dialog->reject();
            }
        });
        poll.start();
        watchdog.start(10000);
        return MorvaneRTServerSetting::openServerSetting();
    }

    static void type(MorvaneRTServerSetting* dialog, const QString& first, const QString& second)
    {
        child<QLineEdit>(dialog, "addr1")->setText(first);
        child<QLineEdit>(dialog, "addr2")->setText(second);
    }

    static void press(MorvaneRTServerSetting* dialog, QDialogButtonBox::StandardButton which)
    {
        child<QDialogButtonBox>(dialog, "buttonBox")->button(which)->click();
    }
};

} // namespace

TEST_F(ServerSettingDialogTest, FormHasItsObjectNamesAndTexts)
{
    MorvaneRTServerSetting dialog;
    EXPECT_EQ(dialog.objectName(), QStringLiteral("MorvaneRTServerSetting"));
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Server Address Setting"));
    ASSERT_NE(child<QVBoxLayout>(&dialog, "verticalLayout"), nullptr);
    ASSERT_NE(child<QGroupBox>(&dialog, "groupBox"), nullptr);
    ASSERT_NE(child<QFormLayout>(&dialog, "formLayout"), nullptr);
    ASSERT_NE(child<QLabel>(&dialog, "label"), nullptr);
    ASSERT_NE(child<QLabel>(&dialog, "label_2"), nullptr);
    ASSERT_NE(child<QLineEdit>(&dialog, "addr1"), nullptr);
    ASSERT_NE(child<QLineEdit>(&dialog, "addr2"), nullptr);
    ASSERT_NE(child<QDialogButtonBox>(&dialog, "buttonBox"), nullptr);
    EXPECT_EQ(child<QGroupBox>(&dialog, "groupBox")->title(), QStringLiteral(" Address Setting"));
    EXPECT_EQ(child<QLabel>(&dialog, "label")->text(), QStringLiteral("Server1 Address:"));
    EXPECT_EQ(child<QLabel>(&dialog, "label_2")->text(), QStringLiteral("Server2 Address:"));
}

TEST_F(ServerSettingDialogTest, FormRowsAreZeroAndTwoWithRowOneEmpty)
{
    MorvaneRTServerSetting dialog;
    QFormLayout* form = child<QFormLayout>(&dialog, "formLayout");
    ASSERT_NE(form, nullptr);
    const struct {
        const char* name;
        int row;
        QFormLayout::ItemRole role;
    } expected[] = {
        {"label", 0, QFormLayout::LabelRole},
        {"addr1", 0, QFormLayout::FieldRole},
        {"label_2", 2, QFormLayout::LabelRole},
        {"addr2", 2, QFormLayout::FieldRole},
    };
    for (const auto& entry : expected) {
        int row = -1;
        QFormLayout::ItemRole role = QFormLayout::SpanningRole;
        form->getWidgetPosition(child<QWidget>(&dialog, entry.name), &row, &role);
        EXPECT_EQ(row, entry.row) << entry.name;
        EXPECT_EQ(role, entry.role) << entry.name;
    }
    EXPECT_EQ(form->rowCount(), 3);
    EXPECT_EQ(form->itemAt(1, QFormLayout::LabelRole), nullptr);
    EXPECT_EQ(form->itemAt(1, QFormLayout::FieldRole), nullptr);
}

TEST_F(ServerSettingDialogTest, LayoutsNestAndSpaceAsDrawn)
{
    MorvaneRTServerSetting dialog;
    QVBoxLayout* vertical = child<QVBoxLayout>(&dialog, "verticalLayout");
    QFormLayout* form = child<QFormLayout>(&dialog, "formLayout");
    QGroupBox* group = child<QGroupBox>(&dialog, "groupBox");
    ASSERT_NE(vertical, nullptr);
    ASSERT_NE(form, nullptr);
    EXPECT_EQ(dialog.layout(), vertical);
    EXPECT_EQ(group->layout(), form);
    EXPECT_EQ(vertical->spacing(), 6);
    EXPECT_EQ(vertical->contentsMargins(), QMargins(11, 11, 11, 11));
    EXPECT_EQ(form->horizontalSpacing(), 6);
    EXPECT_EQ(form->verticalSpacing(), 6);
    EXPECT_EQ(form->contentsMargins(), QMargins(11, 11, 11, 11));
    ASSERT_EQ(vertical->count(), 2);
    EXPECT_EQ(vertical->itemAt(0)->widget(), group);
    EXPECT_EQ(vertical->itemAt(1)->widget(), child<QDialogButtonBox>(&dialog, "buttonBox"));
}

TEST_F(ServerSettingDialogTest, ButtonBoxOffersOkAndCancel)
{
    MorvaneRTServerSetting dialog;
    EXPECT_EQ(child<QDialogButtonBox>(&dialog, "buttonBox")->standardButtons(),
              QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
}

TEST_F(ServerSettingDialogTest, SizeIs301By143AtFactorOne)
{
    ASSERT_EQ(HiDPI::dpiScaleFactor(), 1.0);
    MorvaneRTServerSetting dialog;
    EXPECT_EQ(dialog.size(), QSize(301, 143));
}

TEST_F(ServerSettingDialogTest, ContextHelpButtonHintIsRemoved)
{
    MorvaneRTServerSetting dialog;
    EXPECT_FALSE(dialog.windowFlags().testFlag(Qt::WindowContextHelpButtonHint));
    EXPECT_TRUE(dialog.isWindow());
}

TEST_F(ServerSettingDialogTest, TextsAreTranslatedUnderTheDialogsContext)
{
    MarkingTranslator translator;
    ASSERT_TRUE(QCoreApplication::installTranslator(&translator));
    {
        MorvaneRTServerSetting dialog;
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("[Server Address Setting]"));
        EXPECT_EQ(child<QGroupBox>(&dialog, "groupBox")->title(), QStringLiteral("[ Address Setting]"));
        EXPECT_EQ(child<QLabel>(&dialog, "label")->text(), QStringLiteral("[Server1 Address:]"));
        EXPECT_EQ(child<QLabel>(&dialog, "label_2")->text(), QStringLiteral("[Server2 Address:]"));
    }
    QCoreApplication::removeTranslator(&translator);
}

TEST_F(ServerSettingDialogTest, ShowsTheMiddlewaresAddresses)
{
    configure("10.1.0.1", "10.1.0.2");
    MorvaneRTServerSetting dialog;
    EXPECT_EQ(dialog.address1(), QStringLiteral("10.1.0.1"));
    EXPECT_EQ(dialog.address2(), QStringLiteral("10.1.0.2"));
    EXPECT_EQ(child<QLineEdit>(&dialog, "addr1")->text(), QStringLiteral("10.1.0.1"));
    EXPECT_EQ(child<QLineEdit>(&dialog, "addr2")->text(), QStringLiteral("10.1.0.2"));
}

TEST_F(ServerSettingDialogTest, NoConfiguredAddressShowsTwoEmptyEdits)
{
    configure("", "");
    ASSERT_TRUE(configured().isEmpty());
    MorvaneRTServerSetting dialog;
    EXPECT_TRUE(dialog.address1().isEmpty());
    EXPECT_TRUE(dialog.address2().isEmpty());
}

TEST_F(ServerSettingDialogTest, AddressesReadTheLineEditsNotTheStoredCopies)
{
    MorvaneRTServerSetting dialog;
    dialog.setAddress(QStringLiteral("a.example"), QStringLiteral("b.example"));
    EXPECT_EQ(child<QLineEdit>(&dialog, "addr1")->text(), QStringLiteral("a.example"));
    EXPECT_EQ(child<QLineEdit>(&dialog, "addr2")->text(), QStringLiteral("b.example"));
    child<QLineEdit>(&dialog, "addr1")->setText(QStringLiteral("typed.example"));
    EXPECT_EQ(dialog.address1(), QStringLiteral("typed.example"));
    EXPECT_EQ(dialog.address2(), QStringLiteral("b.example"));
}

TEST_F(ServerSettingDialogTest, OneConfiguredAddressLeavesAddr2EmptyAndAcceptStoresAnEmptySecond)
{
    configure("10.2.0.1", "");
    MorvaneRTServerSetting shown;
    EXPECT_EQ(shown.address1(), QStringLiteral("10.2.0.1"));
    EXPECT_TRUE(shown.address2().isEmpty());

    bool operated = false;
    const int result = runOpenServerSetting(
        [](MorvaneRTServerSetting* dialog) {
            EXPECT_TRUE(dialog->address2().isEmpty());
            press(dialog, QDialogButtonBox::Ok);
        },
        &operated);
    EXPECT_TRUE(operated);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(configured(), QStringList{QStringLiteral("10.2.0.1")});
    EXPECT_TRUE(settingsFileBytes().contains("default.server1=10.2.0.1\ndefault.server2=\n"))
        << settingsFileBytes().constData();
}

TEST_F(ServerSettingDialogTest, AcceptingHandsBothTypedAddressesToTheMiddleware)
{
    configure("10.3.0.1", "10.3.0.2");
    bool operated = false;
    const int result = runOpenServerSetting(
        [](MorvaneRTServerSetting* dialog) {
            type(dialog, QStringLiteral("192.168.7.10"), QStringLiteral("192.168.7.11"));
            press(dialog, QDialogButtonBox::Ok);
        },
        &operated);
    EXPECT_TRUE(operated);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(configured(), (QStringList{QStringLiteral("192.168.7.10"), QStringLiteral("192.168.7.11")}));
    EXPECT_TRUE(settingsFileBytes().contains("default.server1=192.168.7.10\ndefault.server2=192.168.7.11\n"));
}

TEST_F(ServerSettingDialogTest, AcceptingStoresWhateverWasTypedUnchecked)
{
    bool operated = false;
    const int result = runOpenServerSetting(
        [](MorvaneRTServerSetting* dialog) {
            type(dialog, QStringLiteral("not an address"), QStringLiteral("redis://x:y"));
            press(dialog, QDialogButtonBox::Ok);
        },
        &operated);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(configured(), (QStringList{QStringLiteral("not an address"), QStringLiteral("redis://x:y")}));
}

TEST_F(ServerSettingDialogTest, AddressesTravelAsLatinOne)
{
    bool operated = false;
    runOpenServerSetting(
        [](MorvaneRTServerSetting* dialog) {
            type(dialog, QStringLiteral("caf\u00e9.example"), QStringLiteral("\u4e2d.example"));
            press(dialog, QDialogButtonBox::Ok);
        },
        &operated);
    EXPECT_TRUE(operated);
    /* "é" is stored as the one byte E9; a character outside Latin-1 as "?". */
    EXPECT_TRUE(settingsFileBytes().contains("default.server1=caf\xe9.example\n"));
    EXPECT_TRUE(settingsFileBytes().contains("default.server2=?.example\n"));
    MorvaneRTServerSetting reopened;
    EXPECT_EQ(reopened.address1(), QStringLiteral("caf\u00e9.example"));
    EXPECT_EQ(reopened.address2(), QStringLiteral("?.example"));
}

TEST_F(ServerSettingDialogTest, CancellingLeavesTheSettingUntouchedAndReturnsZero)
{
    configure("10.4.0.1", "10.4.0.2");
    const QByteArray before = settingsFileBytes();
    bool operated = false;
    const int result = runOpenServerSetting(
        [](MorvaneRTServerSetting* dialog) {
            type(dialog, QStringLiteral("10.9.9.9"), QString());
            press(dialog, QDialogButtonBox::Cancel);
        },
        &operated);
    EXPECT_TRUE(operated);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(configured(), (QStringList{QStringLiteral("10.4.0.1"), QStringLiteral("10.4.0.2")}));
    EXPECT_EQ(settingsFileBytes(), before);
}

TEST_F(ServerSettingDialogTest, EscapeRejectsAndStoresNothing)
{
    configure("10.5.0.1", "10.5.0.2");
    bool operated = false;
    const int result = runOpenServerSetting(
        [](MorvaneRTServerSetting* dialog) {
            type(dialog, QStringLiteral("10.9.9.9"), QStringLiteral("10.9.9.8"));
            QTest::keyClick(dialog, Qt::Key_Escape);
        },
        &operated);
    EXPECT_TRUE(operated);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(configured(), (QStringList{QStringLiteral("10.5.0.1"), QStringLiteral("10.5.0.2")}));
}
