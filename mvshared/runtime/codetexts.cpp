/*
 * codetexts.cpp: the display texts of the codes that the runtime server, the
 * drivers and the process manager report (declared in MorvaneTexts.h).
 *
 * Each vocabulary is one constant table of English source texts, marked for
 * lupdate under the context "Morvane" and looked up through the application's
 * translator when shown. Translation files are keyed on these exact texts, so
 * they stay as the server and the drivers have always spelled them
 * ("Invaild", "consol", "UnknownDriver", ...). Texts that several vocabularies
 * show are written once, below, and the tables point at them.
 *
 * A code that falls outside a table never reads past it: the vocabulary's
 * own fallback text is shown, or an empty text where it has none.
 */
#include <MVShared/MorvaneTexts.h>

#include <QtCore/QCoreApplication>

#include <cstddef>

namespace Morvane {
namespace {

/* Texts shown by more than one vocabulary. */
const char kSuccessText[] = QT_TRANSLATE_NOOP("Morvane", "Success");
const char kNotDefinedText[] = QT_TRANSLATE_NOOP("Morvane", "Not Defined");
const char kOfflineText[] = QT_TRANSLATE_NOOP("Morvane", "Offline");
const char kSystemText[] = QT_TRANSLATE_NOOP("Morvane", "System");
const char kStartedText[] = QT_TRANSLATE_NOOP("Morvane", "Started");
const char kStoppedText[] = QT_TRANSLATE_NOOP("Morvane", "Stopped");
const char kUnknownText[] = QT_TRANSLATE_NOOP("Morvane", "Unknown");
const char kLowLimitText[] = QT_TRANSLATE_NOOP("Morvane", "Low Limit");
const char kHiLimitText[] = QT_TRANSLATE_NOOP("Morvane", "Hi Limit");
const char kLoLowLimitText[] = QT_TRANSLATE_NOOP("Morvane", "LoLow Limit");
const char kHiHiLimitText[] = QT_TRANSLATE_NOOP("Morvane", "HiHi Limit");
const char kRateOfChangeText[] = QT_TRANSLATE_NOOP("Morvane", "ROC");
const char kShuttingDownText[] =
    QT_TRANSLATE_NOOP("Morvane", "Shutting down the driver's resources.");
/* An empty source text still goes to the translator, like any other entry. */
const char kEmptyText[] = "";

/* A code and its text, for vocabularies whose codes are not 0, 1, 2, ... */
struct CodeText {
    int code;
    const char* text;
};

/* The driver's "failwhy" codes. 0 (success) and anything unknown show
 * kInvalidErrorCodeText. */
const CodeText kDriverErrorTexts[] = {
    {NotSupportedFunction, QT_TRANSLATE_NOOP("Morvane", "Not Supported Function")},
    {DeviceTravel, QT_TRANSLATE_NOOP("Morvane", "Device Travel")},
    {CommunicationError, QT_TRANSLATE_NOOP("Morvane", "Communication Error")},
    {NoResponse, QT_TRANSLATE_NOOP("Morvane", "No Response")},
    {NotAllowedControl, QT_TRANSLATE_NOOP("Morvane", "Not Allowed Control")},
    {UnknownDriverError, QT_TRANSLATE_NOOP("Morvane", "UnknownDriver Error")},
    {UnknownDriverException, QT_TRANSLATE_NOOP("Morvane", "UnknownDriver Exception")},
    {NotMatchedTarget, QT_TRANSLATE_NOOP("Morvane", "NotMatched Target")},
    {InvalidParameter, QT_TRANSLATE_NOOP("Morvane", "Invaild Parameter")},
    {FrameError, QT_TRANSLATE_NOOP("Morvane", "FrameError")},
    {UndefinedError, QT_TRANSLATE_NOOP("Morvane", "Undefined Error")},
    {DriverOffline, QT_TRANSLATE_NOOP("Morvane", "Driver is offline")},
    {ValueNotChanged,
     QT_TRANSLATE_NOOP("Morvane", "Control Executed. But Value is not changed")},
};
const char kInvalidErrorCodeText[] = QT_TRANSLATE_NOOP("Morvane", "Invaild ErrorCode");

/* Results of server operations; every unlisted code is a naming failure. */
const CodeText kOperationResultTexts[] = {
    {0, kSuccessText},
    {10001, QT_TRANSLATE_NOOP("Morvane", "Operation Exception")},
    {10002, QT_TRANSLATE_NOOP("Morvane", "Server is not online")},
};
const char kNamingFailedText[] = QT_TRANSLATE_NOOP("Morvane", "Naming Server is fail");

/* Commands to a remote terminal unit, indexed by RtuControlCode. */
const char* const kRtuControlTexts[] = {
    QT_TRANSLATE_NOOP("Morvane", "Integrity poll"),
    QT_TRANSLATE_NOOP("Morvane", "Status poll"),
    QT_TRANSLATE_NOOP("Morvane", "Analog poll"),
    QT_TRANSLATE_NOOP("Morvane", "Device restart"),
    QT_TRANSLATE_NOOP("Morvane", "Event poll"),
    QT_TRANSLATE_NOOP("Morvane", "Time synchronization"),
    QT_TRANSLATE_NOOP("Morvane", "Counter poll"),
    QT_TRANSLATE_NOOP("Morvane", "Activate RTU"),
    QT_TRANSLATE_NOOP("Morvane", "Deactivate RTU"),
};

/* Results reported by the process manager and the drivers. The process
 * manager's own texts end at 15, but codes up to 24 have always been shown
 * from this table: 16..20 read as the analog alarm kinds and 21..24 as the
 * driver start-up results (an empty text, 0, 1 and then 2, which has no text),
 * and operators' screens and translation files rely on that. */
const char* const kControlResultTexts[] = {
    QT_TRANSLATE_NOOP("Morvane", "Communication error consol"),
    QT_TRANSLATE_NOOP("Morvane", "Communication error manager"),
    QT_TRANSLATE_NOOP("Morvane", "Driver restart"),
    QT_TRANSLATE_NOOP("Morvane", "Process Start"),
    QT_TRANSLATE_NOOP("Morvane", "Process already running"),
    QT_TRANSLATE_NOOP("Morvane", "Process Unable to Start"),
    QT_TRANSLATE_NOOP("Morvane", "App path is incorrect"),
    QT_TRANSLATE_NOOP("Morvane", "Failed to create process"),
    QT_TRANSLATE_NOOP("Morvane", "No reason"),
    QT_TRANSLATE_NOOP("Morvane", "By user"),
    QT_TRANSLATE_NOOP("Morvane", "By system"),
    QT_TRANSLATE_NOOP("Morvane", "Failed to DB connection"),
    QT_TRANSLATE_NOOP("Morvane", "Failed to initialize communication"),
    QT_TRANSLATE_NOOP("Morvane", "RTU connection is offline"),
    QT_TRANSLATE_NOOP("Morvane", "Other initialization failed"),
    QT_TRANSLATE_NOOP("Morvane", "Scada Server connection failure"),
    kLowLimitText,
    kHiLimitText,
    kLoLowLimitText,
    kHiHiLimitText,
    kRateOfChangeText,
    kEmptyText,
    kSuccessText,
    kShuttingDownText,
    kEmptyText,
};

/* Results of starting a driver. Code 2 has never been reported. */
const CodeText kActivateDriverTexts[] = {
    {0, kSuccessText},
    {1, kShuttingDownText},
    {3, QT_TRANSLATE_NOOP("Morvane", "There is a problem with the database connection.")},
    {4, QT_TRANSLATE_NOOP("Morvane", "Unable to find protocol plug-ins.")},
    {5, QT_TRANSLATE_NOOP("Morvane", "There is a problem with the server.")},
};

/* Which channel of a redundant pair carries the traffic. */
const char* const kActiveChannelTexts[] = {
    QT_TRANSLATE_NOOP("Morvane", "Primary"),
    QT_TRANSLATE_NOOP("Morvane", "Secondary"),
    kOfflineText,
};

/* Limit alarm kinds of an analog point. */
const char* const kAnalogAlarmTexts[] = {
    kLowLimitText, kHiLimitText, kLoLowLimitText, kHiHiLimitText, kRateOfChangeText,
};

/* Who caused an event. */
const char* const kOriginTexts[] = {
    QT_TRANSLATE_NOOP("Morvane", "Driver"),
    QT_TRANSLATE_NOOP("Morvane", "Middleware"),
    kSystemText,
};

/* State of a server-side component. */
const char* const kOtherStatusTexts[] = {
    kOfflineText,
    QT_TRANSLATE_NOOP("Morvane", "Online"),
    kStartedText,
    kStoppedText,
    kUnknownText,
};

/* State of a process the process manager runs. */
const char* const kProcessStateTexts[] = {kStartedText, kStoppedText, kUnknownText};

/* Scanning of a point or RTU. */
const char* const kScanModeTexts[] = {
    QT_TRANSLATE_NOOP("Morvane", "Disabled"),
    QT_TRANSLATE_NOOP("Morvane", "Enabled"),
};

/* Days of the month as English ordinals, indexed by the day; there is no
 * day 0. */
const char* const kDayTexts[] = {
    nullptr,
    QT_TRANSLATE_NOOP("Morvane", "1st"),  QT_TRANSLATE_NOOP("Morvane", "2nd"),
    QT_TRANSLATE_NOOP("Morvane", "3rd"),  QT_TRANSLATE_NOOP("Morvane", "4th"),
    QT_TRANSLATE_NOOP("Morvane", "5th"),  QT_TRANSLATE_NOOP("Morvane", "6th"),
    QT_TRANSLATE_NOOP("Morvane", "7th"),  QT_TRANSLATE_NOOP("Morvane", "8th"),
    QT_TRANSLATE_NOOP("Morvane", "9th"),  QT_TRANSLATE_NOOP("Morvane", "10th"),
    QT_TRANSLATE_NOOP("Morvane", "11th"), QT_TRANSLATE_NOOP("Morvane", "12th"),
    QT_TRANSLATE_NOOP("Morvane", "13th"), QT_TRANSLATE_NOOP("Morvane", "14th"),
    QT_TRANSLATE_NOOP("Morvane", "15th"), QT_TRANSLATE_NOOP("Morvane", "16th"),
    QT_TRANSLATE_NOOP("Morvane", "17th"), QT_TRANSLATE_NOOP("Morvane", "18th"),
    QT_TRANSLATE_NOOP("Morvane", "19th"), QT_TRANSLATE_NOOP("Morvane", "20th"),
    QT_TRANSLATE_NOOP("Morvane", "21st"), QT_TRANSLATE_NOOP("Morvane", "22nd"),
    QT_TRANSLATE_NOOP("Morvane", "23rd"), QT_TRANSLATE_NOOP("Morvane", "24th"),
    QT_TRANSLATE_NOOP("Morvane", "25th"), QT_TRANSLATE_NOOP("Morvane", "26th"),
    QT_TRANSLATE_NOOP("Morvane", "27th"), QT_TRANSLATE_NOOP("Morvane", "28th"),
    QT_TRANSLATE_NOOP("Morvane", "29th"), QT_TRANSLATE_NOOP("Morvane", "30th"),
    QT_TRANSLATE_NOOP("Morvane", "31st"),
};

/* Kinds of logged statistic values; 2, 4 and 8 are unused kinds. */
const CodeText kLogDataKindTexts[] = {
    {MomentValue, QT_TRANSLATE_NOOP("Morvane", "Moment Value")},
    {MaximumValue, QT_TRANSLATE_NOOP("Morvane", "Maximum Value")},
    {MinimumValue, QT_TRANSLATE_NOOP("Morvane", "Minimum Value")},
    {AverageValue, QT_TRANSLATE_NOOP("Morvane", "Average Value")},
    {DeltaValue, QT_TRANSLATE_NOOP("Morvane", "Delta Value")},
    {LastValue, QT_TRANSLATE_NOOP("Morvane", "Last Value")},
    {OnCount, QT_TRANSLATE_NOOP("Morvane", "On Count")},
    {OffCount, QT_TRANSLATE_NOOP("Morvane", "Off Count")},
    {OnDuration, QT_TRANSLATE_NOOP("Morvane", "On Duration")},
    {OffDuration, QT_TRANSLATE_NOOP("Morvane", "Off Duration")},
};

/* The entry of an indexed table, or fallback when the code is not an index of
 * it (negative codes included). */
template <std::size_t N>
const char* indexedText(const char* const (&table)[N], int code, const char* fallback)
{
    if (code < 0 || static_cast<std::size_t>(code) >= N)
        return fallback;
    return table[code];
}

/* The text listed for a code, or fallback when the code is not listed. */
template <std::size_t N>
const char* listedText(const CodeText (&table)[N], int code, const char* fallback)
{
    for (const CodeText& entry : table) {
        if (entry.code == code)
            return entry.text;
    }
    return fallback;
}

/* The application's translation of a source text; no text gives an empty
 * text that the translator never sees. */
QString translated(const char* text)
{
    if (!text)
        return QString();
    return QCoreApplication::translate("Morvane", text);
}

} // namespace

QString driverErrorString(DriverErrorResult code)
{
    return translated(listedText(kDriverErrorTexts, code, kInvalidErrorCodeText));
}

QString operationResultString(int code)
{
    return translated(listedText(kOperationResultTexts, code, kNamingFailedText));
}

/* Unknown RTU commands show "Not Defined" as it stands: this fallback has
 * always been shown untranslated, and translation files do not expect it. */
QString rtuControlCodeString(int code)
{
    const char* text = indexedText(kRtuControlTexts, code, nullptr);
    return text ? translated(text) : QString::fromLatin1(kNotDefinedText);
}

QString controlResultString(int code)
{
    return translated(indexedText(kControlResultTexts, code, kNotDefinedText));
}

/* Codes the drivers never report show an empty text. */
QString activateDriverResultString(int code)
{
    return translated(listedText(kActivateDriverTexts, code, nullptr));
}

QString activeChennelString(int code)
{
    return translated(indexedText(kActiveChannelTexts, code, kOfflineText));
}

QString analogAlarmString(int code)
{
    return translated(indexedText(kAnalogAlarmTexts, code, kEmptyText));
}

QString originString(int code)
{
    return translated(indexedText(kOriginTexts, code, kEmptyText));
}

/* Codes the server never reports show an empty text. */
QString otherStatusString(int code)
{
    return translated(indexedText(kOtherStatusTexts, code, nullptr));
}

QString processStateString(int code)
{
    return translated(indexedText(kProcessStateTexts, code, kUnknownText));
}

QString scanModeString(int code)
{
    return translated(indexedText(kScanModeTexts, code, kScanModeTexts[0]));
}

/* Days that are not of a month show an empty text. */
QString dayString(int day)
{
    return translated(indexedText(kDayTexts, day, nullptr));
}

QString systemString()
{
    return translated(kSystemText);
}

/* Unused and unknown kinds show an empty text, untranslated. */
QString logDataKindString(DataKindType kind)
{
    return translated(listedText(kLogDataKindTexts, kind, nullptr));
}

} // namespace Morvane
