/*
 * codetexts_test.cpp: the display texts of server, driver and process
 * manager codes (MorvaneTexts.h). Translation files are keyed on these exact
 * source texts, so every text of every vocabulary is pinned here letter for
 * letter, together with the fallbacks, which of them pass through the
 * application's translator under "Morvane", and that no code, however wild,
 * reads outside a table.
 */
#include <MVShared/MorvaneTexts.h>

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QTranslator>

#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Morvane;

namespace {

struct Expected {
    int code;
    const char* text;
};

/* One vocabulary: its function, the codes whose text goes through the
 * translator, and the codes whose text is shown as it stands. Codes outside a
 * vocabulary's contract (negative ones included) are listed with the text the
 * product shows for them. */
struct Vocabulary {
    const char* name;
    QString (*text)(int code);
    std::vector<Expected> translated;
    std::vector<Expected> untranslated;
};

const char kNoText[] = "";

const std::vector<Vocabulary>& vocabularies()
{
    static const std::vector<Vocabulary> all = {
        {"driverErrorString",
         [](int code) { return driverErrorString(static_cast<DriverErrorResult>(code)); },
         {{10000, "Not Supported Function"},
          {10001, "Device Travel"},
          {10002, "Communication Error"},
          {10003, "No Response"},
          {10004, "Not Allowed Control"},
          {10005, "UnknownDriver Error"},
          {10006, "UnknownDriver Exception"},
          {10007, "NotMatched Target"},
          {10008, "Invaild Parameter"},
          {10009, "FrameError"},
          {10010, "Undefined Error"},
          {10011, "Driver is offline"},
          {10012, "Control Executed. But Value is not changed"},
          {0, "Invaild ErrorCode"},
          {1, "Invaild ErrorCode"},
          {9999, "Invaild ErrorCode"},
          {10013, "Invaild ErrorCode"},
          {-1, "Invaild ErrorCode"},
          {INT_MIN, "Invaild ErrorCode"}},
         {}},
        {"operationResultString", operationResultString,
         {{0, "Success"},
          {10001, "Operation Exception"},
          {10002, "Server is not online"},
          {1, "Naming Server is fail"},
          {10000, "Naming Server is fail"},
          {10003, "Naming Server is fail"},
          {-1, "Naming Server is fail"}},
         {}},
        {"rtuControlCodeString", rtuControlCodeString,
         {{0, "Integrity poll"},
          {1, "Status poll"},
          {2, "Analog poll"},
          {3, "Device restart"},
          {4, "Event poll"},
          {5, "Time synchronization"},
          {6, "Counter poll"},
          {7, "Activate RTU"},
          {8, "Deactivate RTU"}},
         {{9, "Not Defined"}, {200, "Not Defined"}, {INT_MAX, "Not Defined"},
          {-1, "Not Defined"}}},
        {"controlResultString", controlResultString,
         {{0, "Communication error consol"},
          {1, "Communication error manager"},
          {2, "Driver restart"},
          {3, "Process Start"},
          {4, "Process already running"},
          {5, "Process Unable to Start"},
          {6, "App path is incorrect"},
          {7, "Failed to create process"},
          {8, "No reason"},
          {9, "By user"},
          {10, "By system"},
          {11, "Failed to DB connection"},
          {12, "Failed to initialize communication"},
          {13, "RTU connection is offline"},
          {14, "Other initialization failed"},
          {15, "Scada Server connection failure"},
          {16, "Low Limit"},
          {17, "Hi Limit"},
          {18, "LoLow Limit"},
          {19, "HiHi Limit"},
          {20, "ROC"},
          {21, kNoText},
          {22, "Success"},
          {23, "Shutting down the driver's resources."},
          {24, kNoText},
          {25, "Not Defined"},
          {INT_MAX, "Not Defined"},
          {-1, "Not Defined"}},
         {}},
        {"activateDriverResultString", activateDriverResultString,
         {{0, "Success"},
          {1, "Shutting down the driver's resources."},
          {3, "There is a problem with the database connection."},
          {4, "Unable to find protocol plug-ins."},
          {5, "There is a problem with the server."}},
         {{2, kNoText}, {6, kNoText}, {-1, kNoText}}},
        {"activeChennelString", activeChennelString,
         {{0, "Primary"}, {1, "Secondary"}, {2, "Offline"}, {3, "Offline"}, {7, "Offline"},
          {-1, "Offline"}},
         {}},
        {"analogAlarmString", analogAlarmString,
         {{0, "Low Limit"}, {1, "Hi Limit"}, {2, "LoLow Limit"}, {3, "HiHi Limit"},
          {4, "ROC"}, {5, kNoText}, {-1, kNoText}},
         {}},
        {"originString", originString,
         {{0, "Driver"}, {1, "Middleware"}, {2, "System"}, {3, kNoText}, {-1, kNoText}},
         {}},
        {"otherStatusString", otherStatusString,
         {{0, "Offline"}, {1, "Online"}, {2, "Started"}, {3, "Stopped"}, {4, "Unknown"}},
         {{5, kNoText}, {-1, kNoText}}},
        {"processStateString", processStateString,
         {{0, "Started"}, {1, "Stopped"}, {2, "Unknown"}, {3, "Unknown"}, {9, "Unknown"},
          {-1, "Unknown"}},
         {}},
        {"scanModeString", scanModeString,
         {{0, "Disabled"}, {1, "Enabled"}, {2, "Disabled"}, {5, "Disabled"},
          {-1, "Disabled"}},
         {}},
        {"dayString", dayString,
         {{1, "1st"},   {2, "2nd"},   {3, "3rd"},   {4, "4th"},   {5, "5th"},
          {6, "6th"},   {7, "7th"},   {8, "8th"},   {9, "9th"},   {10, "10th"},
          {11, "11th"}, {12, "12th"}, {13, "13th"}, {14, "14th"}, {15, "15th"},
          {16, "16th"}, {17, "17th"}, {18, "18th"}, {19, "19th"}, {20, "20th"},
          {21, "21st"}, {22, "22nd"}, {23, "23rd"}, {24, "24th"}, {25, "25th"},
          {26, "26th"}, {27, "27th"}, {28, "28th"}, {29, "29th"}, {30, "30th"},
          {31, "31st"}},
         {{0, kNoText}, {32, kNoText}, {-1, kNoText}}},
        {"logDataKindString",
         [](int code) { return logDataKindString(static_cast<DataKindType>(code)); },
         {{0, "Moment Value"},
          {1, "Maximum Value"},
          {3, "Minimum Value"},
          {5, "Average Value"},
          {6, "Delta Value"},
          {7, "Last Value"},
          {9, "On Count"},
          {10, "Off Count"},
          {11, "On Duration"},
          {12, "Off Duration"}},
         {{2, kNoText}, {4, kNoText}, {8, kNoText}, {13, kNoText}, {-1, kNoText}}},
    };
    return all;
}

const Vocabulary& vocabulary(const std::string& name)
{
    for (const Vocabulary& entry : vocabularies()) {
        if (name == entry.name)
            return entry;
    }
    throw std::logic_error("no vocabulary " + name);
}

std::string shown(const Vocabulary& entry, int code)
{
    return entry.text(code).toStdString();
}

/* Every listed code of a vocabulary shows its listed text (no translator is
 * installed outside the translation fixture). */
void expectListedTexts(const std::string& name)
{
    const Vocabulary& entry = vocabulary(name);
    for (const std::vector<Expected>* cases : {&entry.translated, &entry.untranslated}) {
        for (const Expected& expected : *cases)
            EXPECT_EQ(shown(entry, expected.code), expected.text) << name << "(" << expected.code << ")";
    }
}

/* A translator that "translates" every text into "<context>text" and keeps
 * what it was asked, so a test sees which texts reached it and how. */
class MarkingTranslator : public QTranslator {
public:
    struct Request {
        QByteArray context;
        QByteArray source;
        bool disambiguated;
        int n;
    };

    QString translate(const char* context, const char* sourceText, const char* disambiguation,
                      int n) const override
    {
        requests.push_back({context, sourceText, disambiguation != nullptr, n});
        return QLatin1Char('<') + QString::fromUtf8(context) + QLatin1Char('>')
            + QString::fromUtf8(sourceText);
    }

    bool isEmpty() const override { return false; }

    mutable std::vector<Request> requests;
};

class CodeTextsTranslation : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(QCoreApplication::installTranslator(&translator)); }
    void TearDown() override { QCoreApplication::removeTranslator(&translator); }

    MarkingTranslator translator;
};

} // namespace

/* Edge cases operators meet. */

TEST(CodeTexts, DriverSuccessCodeShowsInvalidErrorCode)
{
    EXPECT_EQ(driverErrorString(DriverSuccess).toStdString(), "Invaild ErrorCode");
}

TEST(CodeTexts, DriverValueNotChangedShowsItsFullSentence)
{
    EXPECT_EQ(driverErrorString(ValueNotChanged).toStdString(),
              "Control Executed. But Value is not changed");
}

TEST(CodeTexts, ControlResultAboveTableIsNotDefined)
{
    EXPECT_EQ(controlResultString(25).toStdString(), "Not Defined");
}

TEST(CodeTexts, ControlResultTwentyIsRateOfChange)
{
    EXPECT_EQ(controlResultString(20).toStdString(), "ROC");
}

TEST(CodeTexts, ActiveChannelAboveTwoIsOffline)
{
    EXPECT_EQ(activeChennelString(7).toStdString(), "Offline");
}

TEST(CodeTexts, ScanModeAboveOneIsDisabled)
{
    EXPECT_EQ(scanModeString(5).toStdString(), "Disabled");
}

TEST(CodeTexts, LogDataKindTwoIsEmpty)
{
    EXPECT_TRUE(logDataKindString(static_cast<DataKindType>(2)).isEmpty());
}

/* Every text of every vocabulary, letter for letter. */

TEST(CodeTexts, DriverErrorTextsForEveryCode) { expectListedTexts("driverErrorString"); }
TEST(CodeTexts, OperationResultTextsForEveryCode) { expectListedTexts("operationResultString"); }
TEST(CodeTexts, RtuControlTextsForEveryCode) { expectListedTexts("rtuControlCodeString"); }
TEST(CodeTexts, ControlResultTextsForEveryCode) { expectListedTexts("controlResultString"); }
TEST(CodeTexts, ActivateDriverTextsForEveryCode) { expectListedTexts("activateDriverResultString"); }
TEST(CodeTexts, ActiveChannelTextsForEveryCode) { expectListedTexts("activeChennelString"); }
TEST(CodeTexts, AnalogAlarmTextsForEveryCode) { expectListedTexts("analogAlarmString"); }
TEST(CodeTexts, OriginTextsForEveryCode) { expectListedTexts("originString"); }
TEST(CodeTexts, OtherStatusTextsForEveryCode) { expectListedTexts("otherStatusString"); }
TEST(CodeTexts, ProcessStateTextsForEveryCode) { expectListedTexts("processStateString"); }
TEST(CodeTexts, ScanModeTextsForEveryCode) { expectListedTexts("scanModeString"); }
TEST(CodeTexts, DayOrdinalsForEveryDayOfTheMonth) { expectListedTexts("dayString"); }
TEST(CodeTexts, LogDataKindTextsForEveryKind) { expectListedTexts("logDataKindString"); }

TEST(CodeTexts, SystemStringIsSystem)
{
    EXPECT_EQ(systemString().toStdString(), "System");
}

TEST(CodeTexts, ControlResultsSixteenToTwentyThreeShowTheNeighbouringTexts)
{
    for (int alarm = 0; alarm <= 4; ++alarm)
        EXPECT_EQ(controlResultString(16 + alarm), analogAlarmString(alarm)) << alarm;
    EXPECT_TRUE(controlResultString(21).isEmpty());
    EXPECT_EQ(controlResultString(22), activateDriverResultString(0));
    EXPECT_EQ(controlResultString(23), activateDriverResultString(1));
}

/* Wild codes: every result is one of the vocabulary's own texts or empty, and
 * no table is read outside its bounds (checked under AddressSanitizer). */
TEST(CodeTexts, NoCodeReadsOutsideItsVocabulary)
{
    std::vector<int> codes = {INT_MIN, INT_MIN + 1, -200, -1, INT_MAX - 1, INT_MAX};
    for (int code = 0; code <= 200; ++code)
        codes.push_back(code);
    for (const Vocabulary& entry : vocabularies()) {
        std::set<std::string> known = {kNoText};
        for (const std::vector<Expected>* cases : {&entry.translated, &entry.untranslated}) {
            for (const Expected& expected : *cases)
                known.insert(expected.text);
        }
        for (int code : codes)
            EXPECT_EQ(known.count(shown(entry, code)), 1u) << entry.name << "(" << code << ")";
    }
}

/* Translation. */

TEST_F(CodeTextsTranslation, EveryTextIsLookedUpUnderMorvane)
{
    for (const Vocabulary& entry : vocabularies()) {
        for (const Expected& expected : entry.translated) {
            translator.requests.clear();
            EXPECT_EQ(shown(entry, expected.code), std::string("<Morvane>") + expected.text)
                << entry.name << "(" << expected.code << ")";
            ASSERT_EQ(translator.requests.size(), 1u) << entry.name << "(" << expected.code << ")";
            const MarkingTranslator::Request& request = translator.requests.front();
            EXPECT_EQ(request.context.toStdString(), "Morvane");
            EXPECT_EQ(request.source.toStdString(), expected.text);
            EXPECT_FALSE(request.disambiguated);
            EXPECT_EQ(request.n, -1);
        }
    }
}

TEST_F(CodeTextsTranslation, UntranslatedFallbacksNeverReachTheTranslator)
{
    for (const Vocabulary& entry : vocabularies()) {
        for (const Expected& expected : entry.untranslated) {
            translator.requests.clear();
            EXPECT_EQ(shown(entry, expected.code), expected.text)
                << entry.name << "(" << expected.code << ")";
            EXPECT_TRUE(translator.requests.empty()) << entry.name << "(" << expected.code << ")";
        }
    }
}

TEST_F(CodeTextsTranslation, RtuControlNotDefinedIgnoresAnInstalledTranslation)
{
    ASSERT_EQ(QCoreApplication::translate("Morvane", "Not Defined").toStdString(),
              "<Morvane>Not Defined");
    translator.requests.clear();
    EXPECT_EQ(rtuControlCodeString(9).toStdString(), "Not Defined");
    EXPECT_TRUE(translator.requests.empty());
}

TEST_F(CodeTextsTranslation, ControlResultNotDefinedIsTranslated)
{
    EXPECT_EQ(controlResultString(25).toStdString(), "<Morvane>Not Defined");
}

TEST_F(CodeTextsTranslation, LogDataKindTwoIsEmptyAndUntranslated)
{
    EXPECT_TRUE(logDataKindString(static_cast<DataKindType>(2)).isEmpty());
    EXPECT_TRUE(translator.requests.empty());
}

TEST_F(CodeTextsTranslation, SystemStringIsTranslated)
{
    EXPECT_EQ(systemString().toStdString(), "<Morvane>System");
    ASSERT_EQ(translator.requests.size(), 1u);
    EXPECT_EQ(translator.requests.front().context.toStdString(), "Morvane");
}
