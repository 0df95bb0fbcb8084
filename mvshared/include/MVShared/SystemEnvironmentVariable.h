/*
 * SystemEnvironmentVariable.h: the process-wide bag of named run-time
 * settings that the product's applications share with this library (project
 * path, session number, first log year, ...), and the rule that places each
 * application's settings file.
 *
 * The store has no lock: applications set their keys at start-up, before
 * other threads read them.
 */
#ifndef MVSHARED_SYSTEMENVIRONMENTVARIABLE_H
#define MVSHARED_SYSTEMENVIRONMENTVARIABLE_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

class MVSHARED_EXPORT SystemEnvironmentVariable
{
public:
    /* The keys the product uses; each key's text is its own name. Only
     * SessionNo (an integer, read by Morvane::getSettingPath) and
     * YearLogStartDate (an integer year, read by the all-years report page)
     * are read by this library; the applications give the others their
     * meaning. Any other key may be stored too. */
    static const QString AppMode;
    static const QString DatabaseDriver;
    static const QString EmbeddedPassword;
    static const QString HistoryDataBaseVersion;
    static const QString IsScriptFromServer;
    static const QString IsStudyMode;
    static const QString LastOpenDir;
    static const QString MasterDataBaseVersion;
    static const QString MaxBlinkTime;
    static const QString MonthDayDateFormat;
    static const QString OperationMode;
    static const QString MorvaneStartTime;
    static const QString ProjectPath;
    static const QString SessionNo;
    static const QString ShortTimeFormat;
    static const QString UseControlConfirm;
    static const QString UseEmbeddedPassword;
    static const QString UseMinuteHistory;
    static const QString YearLogStartDate;
    static const QString YearMonthDateFormat;

    /* The class has no state of its own; these exist and do nothing. */
    SystemEnvironmentVariable();
    SystemEnvironmentVariable(const SystemEnvironmentVariable& other);
    ~SystemEnvironmentVariable();
    SystemEnvironmentVariable& operator=(const SystemEnvironmentVariable& other);

    /* Inserts or replaces. */
    static void setProperty(const QString& key, const QVariant& value);
    /* The stored value; an invalid QVariant when the key is absent. */
    static QVariant getProperty(const QString& key);
    /* QVariant::toInt of the stored value: 0 when absent or not a number. */
    static int getIntProperty(const QString& key);
    /* QVariant::toString of the stored value: empty when absent. */
    static QString getStringProperty(const QString& key);
};

namespace Morvane {

/*
 * The settings file of the running application:
 *   "<application directory><native separator><file name>.settings"
 * where the file name is `name`, or with withAppName "<application>.<name>"
 * ("<application>" alone for an empty name), and with perSession and a
 * SessionNo set, "_<session>" appended. The directory keeps the forward
 * slashes applicationDirPath() gives; only the last separator is native.
 */
MVSHARED_EXPORT QString getSettingPath(const QString& name, bool perSession, bool withAppName);

} // namespace Morvane

#endif
