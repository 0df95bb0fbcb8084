/*
 * systemenvironmentvariable.cpp: the process-wide settings store and the
 * settings-file path of each application (declared in
 * SystemEnvironmentVariable.h).
 */
#include <MVShared/SystemEnvironmentVariable.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QMap>

/* Each key's text is its own name; the macro keeps the two from drifting. */
#define MV_ENVIRONMENT_KEY(name) const QString SystemEnvironmentVariable::name = QStringLiteral(#name)

MV_ENVIRONMENT_KEY(AppMode);
MV_ENVIRONMENT_KEY(DatabaseDriver);
MV_ENVIRONMENT_KEY(EmbeddedPassword);
MV_ENVIRONMENT_KEY(HistoryDataBaseVersion);
MV_ENVIRONMENT_KEY(IsScriptFromServer);
MV_ENVIRONMENT_KEY(IsStudyMode);
MV_ENVIRONMENT_KEY(LastOpenDir);
MV_ENVIRONMENT_KEY(MasterDataBaseVersion);
MV_ENVIRONMENT_KEY(MaxBlinkTime);
MV_ENVIRONMENT_KEY(MonthDayDateFormat);
MV_ENVIRONMENT_KEY(OperationMode);
MV_ENVIRONMENT_KEY(MorvaneStartTime);
MV_ENVIRONMENT_KEY(ProjectPath);
MV_ENVIRONMENT_KEY(SessionNo);
MV_ENVIRONMENT_KEY(ShortTimeFormat);
MV_ENVIRONMENT_KEY(UseControlConfirm);
MV_ENVIRONMENT_KEY(UseEmbeddedPassword);
MV_ENVIRONMENT_KEY(UseMinuteHistory);
MV_ENVIRONMENT_KEY(YearLogStartDate);
MV_ENVIRONMENT_KEY(YearMonthDateFormat);

#undef MV_ENVIRONMENT_KEY

namespace {

/* Created on first use, so that other libraries' start-up code may already
 * set keys. No lock: see the header. */
QMap<QString, QVariant>& environment()
{
    static QMap<QString, QVariant> values;
    return values;
}

} // namespace

SystemEnvironmentVariable::SystemEnvironmentVariable() = default;
SystemEnvironmentVariable::SystemEnvironmentVariable(const SystemEnvironmentVariable&) = default;
SystemEnvironmentVariable::~SystemEnvironmentVariable() = default;
SystemEnvironmentVariable& SystemEnvironmentVariable::operator=(const SystemEnvironmentVariable&) = default;

void SystemEnvironmentVariable::setProperty(const QString& key, const QVariant& value)
{
    environment().insert(key, value);
}

QVariant SystemEnvironmentVariable::getProperty(const QString& key)
{
    return environment().value(key);
}

int SystemEnvironmentVariable::getIntProperty(const QString& key)
{
    return getProperty(key).toInt();
}

QString SystemEnvironmentVariable::getStringProperty(const QString& key)
{
    return getProperty(key).toString();
}

QString Morvane::getSettingPath(const QString& name, bool perSession, bool withAppName)
{
    QString fileName = name;
    if (withAppName) {
        const QString application = QCoreApplication::applicationName();
        fileName = name.isEmpty() ? application : QStringLiteral("%1.%2").arg(application, name);
    }
    const QVariant session = SystemEnvironmentVariable::getProperty(SystemEnvironmentVariable::SessionNo);
    if (perSession && !session.isNull())
        fileName = QStringLiteral("%1_%2").arg(fileName).arg(session.toInt());
    fileName += QLatin1String(".settings");
    return QCoreApplication::applicationDirPath() + QDir::separator() + fileName;
}
