/*
 * remotecommands.cpp: the runtime interface's remote commands: set-points,
 * set-point sequences, RTU commands and polls, generic device commands and
 * status writes, each sent as one REMOTE_COMMAND2 packet to the driver task
 * "Driver<n>" and answered by its CMD_RESPONSE.
 *
 * Nothing is kept between calls. Each call holds one packet handle for its
 * send and wait; after a failed wait the handle is left to expire on its own.
 *
 * Every command is written once, as a function of the interface and an
 * optional ticket: the blocking members run it on the caller's thread
 * without one, the asynchronous members hand it to the interface's command
 * threads with the ticket of the reply they return. The ticket only learns
 * the packet handle before the wait, so that a cancel can release it.
 */
#include "middlewaretext_p.h"
#include "remotecommandticket_p.h"
#include "scadaruntimeinterface_p.h"

#include <MVShared/BoundedUncompress.h>
#include <MVShared/MorvaneTexts.h>
#include <MVShared/RemoteCommandReply.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <QtCore/QByteArray>

#include <cstdint>
#include <string>

namespace {

using Morvane::ControlInhibited;
using Morvane::DriverAnswered;
using Morvane::MiddlewareFailed;
using Morvane::RemoteSystemResult;
using Morvane::SentUnconfirmed;

constexpr qint32 kMiddlewareDeadCode = 3001;
constexpr qint32 kInhibitedCode = 2222;

/* SendPacket modes: reply expected, and the driver must be there now (3);
 * the sequence only asks for the reply (1). */
constexpr int kSendConfirmed = 3;
constexpr int kSendSequence = 1;

/* Waits in seconds; the middleware scales them. */
constexpr int kControlWait = 30;
constexpr int kRtuWait = 15;
constexpr int kGenericWait = 60;

/* The reply and envelope record types. */
const char* kReplyType = "CMD_RESPONSE";
const char* kEnvelopeType = "REMOTE_COMMAND2";

RemoteSystemResult makeResult(qint32 kind, qint32 code, const QString& message = QString(),
                              const QByteArray& data = QByteArray())
{
    RemoteSystemResult result;
    result.kind = kind;
    result.code = code;
    result.message = message;
    result.data = data;
    return result;
}

QByteArray driverTarget(int driver)
{
    return QStringLiteral("Driver%1").arg(driver).toLatin1();
}

/* A send or wait the middleware failed. */
RemoteSystemResult middlewareFailure(int error)
{
    return makeResult(MiddlewareFailed, error, MorvaneRuntime::middlewareErrorText(error));
}

QString failMessageOf(const DravoData& reply)
{
    const std::u16string text = reply.GetWStringValue("failMessage");
    return QString::fromUtf16(reinterpret_cast<const ushort*>(text.data()), static_cast<int>(text.size()));
}

/* The driver's answer: its own text for an undefined error, the known text
 * of every other code (0 too, which has none: "Invaild ErrorCode"). */
RemoteSystemResult driverAnswer(const DravoData& reply)
{
    const qint32 failwhy = reply.GetShortValue("failwhy");
    if (failwhy == Morvane::UndefinedError)
        return makeResult(DriverAnswered, failwhy, failMessageOf(reply));
    return makeResult(DriverAnswered, failwhy,
                      Morvane::driverErrorString(static_cast<Morvane::DriverErrorResult>(failwhy)));
}

/* Whether a control may go to the point: neither the point nor its RTU is
 * tagged control-inhibit. A point or RTU that cannot be read is never
 * controlled. fullName gets the point's name when a tag stops it. */
bool controlAllowed(ScadaRuntimeInterface& runtime, int pointId, QString* fullName)
{
    DravoData point;
    if (runtime.GetPoint(pointId, point) != 0)
        return false;
    DravoData rtu;
    if (runtime.GetRemoteUnitData(point.GetShortValue("rtuId"), rtu) != 0)
        return false;
    const quint32 tags = point.GetUnSignedIntValue("tag") | rtu.GetUnSignedIntValue("tag");
    if (tags & Morvane::ControlInhibitTag) {
        if (fullName) {
            std::string name;
            point.GetValue("fullname", name);
            *fullName = QString::fromUtf8(name.c_str());
        }
        return false;
    }
    return true;
}

/* A single control or status write refused for the tag. */
RemoteSystemResult inhibited()
{
    return makeResult(ControlInhibited, kInhibitedCode, ScadaRuntimeInterface::tr("Control Inhabit tagged"));
}

RemoteSystemResult middlewareDead()
{
    return makeResult(MiddlewareFailed, kMiddlewareDeadCode, ScadaRuntimeInterface::tr("Middleware is dead"));
}

/* How a command takes its reply: typed as CMD_RESPONSE by the middleware,
 * or untyped and cast by the command. */
enum ReplyForm { TypedReply, UntypedReply };

/* The wait for the driver's reply to a sent packet. An asynchronous command
 * lodges its handle with its ticket first, so that cancelling it releases
 * the packet and ends this wait. */
int awaitReply(RemoteCommandTicket* ticket, DravoHandle handle, DravoData& reply, int seconds, ReplyForm form)
{
    if (ticket)
        ticket->awaiting(handle, seconds);
    return form == TypedReply ? DravoPlus::WaitReply(handle, reply, seconds)
                              : DravoPlus::WaitUndefinedReply(handle, reply, seconds);
}

RemoteSystemResult runControlAo(ScadaRuntimeInterface& runtime, RemoteCommandTicket* ticket, int pointId, int driver,
                                int channelId, double value, bool isUnConfirmed)
{
    if (!controlAllowed(runtime, pointId, nullptr))
        return inhibited();

    DravoData envelope(kEnvelopeType);
    envelope.PutValue("isUnConfirmed", static_cast<std::uint8_t>(isUnConfirmed ? 1 : 0));
    if (!envelope.IsGood())
        return middlewareDead();
    DravoData point;
    if (runtime.GetPoint(pointId, point) != 0)
        return middlewareDead();

    DravoData param("REMOTE_AO_COMMAND");
    param.PutValue("pid", static_cast<std::int32_t>(pointId));
    param.PutValue("value", value);
    envelope.PutValue("cmdCode", std::int32_t{2});
    envelope.PutValue("param", param);
    envelope.PutValue("commid", static_cast<std::int32_t>(channelId));

    DravoHandle handle = 0;
    const int sent = DravoPlus::SendPacket(driverTarget(driver).constData(), envelope, handle, kSendConfirmed);
    /* Unconfirmed set-points report "sent" whatever the send said; status
     * writes look at the send first. Both are kept as operators know them. */
    if (isUnConfirmed)
        return makeResult(SentUnconfirmed, 0);
    if (sent != 0)
        return middlewareFailure(sent);
    DravoData reply(kReplyType);
    const int waited = awaitReply(ticket, handle, reply, kControlWait, TypedReply);
    if (waited != 0)
        return middlewareFailure(waited);
    DravoPlus::DisConnect(handle);
    return driverAnswer(reply);
}

RemoteSystemResult runControlAos(ScadaRuntimeInterface& runtime, RemoteCommandTicket* ticket,
                                 const QList<QPair<int, double>>& values, int driver, int channelId, int device)
{
    DravoData envelope(kEnvelopeType);
    if (!envelope.IsGood())
        return middlewareDead();
    for (const auto& entry : values) {
        QString fullName;
        if (!controlAllowed(runtime, entry.first, &fullName))
            return makeResult(ControlInhibited, kInhibitedCode,
                              ScadaRuntimeInterface::tr("%1 is control inhabit tagged").arg(fullName));
    }

    DravoData param("REMOTE_AO_SEQUENCE_COMMAND");
    param.PutValue("cnt", static_cast<std::int32_t>(values.size()));
    param.PutValue("device", static_cast<std::int32_t>(device));
    for (int i = 0; i < values.size(); ++i) {
        DravoData entry("ANALOG_ID_VALUE");
        entry.PutValue("pid", static_cast<std::int32_t>(values.at(i).first));
        entry.PutValue("value", values.at(i).second);
        param.PutValue(QStringLiteral("values[%1]").arg(i).toLatin1().constData(), entry);
    }
    envelope.PutValue("cmdCode", std::int32_t{3});
    envelope.PutValue("param", param);
    envelope.PutValue("commid", static_cast<std::int32_t>(channelId));

    DravoHandle handle = 0;
    const int sent = DravoPlus::SendPacket(driverTarget(driver).constData(), envelope, handle, kSendSequence);
    if (sent != 0)
        return middlewareFailure(sent);
    DravoData reply(kReplyType);
    const int waited = awaitReply(ticket, handle, reply, kControlWait, TypedReply);
    if (waited != 0)
        return middlewareFailure(waited);
    DravoPlus::DisConnect(handle);
    return driverAnswer(reply);
}

RemoteSystemResult runControlRtu(RemoteCommandTicket* ticket, int rtuId, int driver, int channelId,
                                 Morvane::RtuControlCode code)
{
    DravoData envelope(kEnvelopeType);
    if (!envelope.IsGood())
        return middlewareDead();

    DravoData param("REMOTE_RTU_COMMAND");
    param.PutValue("pid", static_cast<std::int32_t>(rtuId));
    param.PutValue("cmd", static_cast<std::int32_t>(code));
    envelope.PutValue("cmdCode", std::int32_t{0});
    envelope.PutValue("param", param);
    envelope.PutValue("commid", static_cast<std::int32_t>(channelId));

    DravoHandle handle = 0;
    const int sent = DravoPlus::SendPacket(driverTarget(driver).constData(), envelope, handle, kSendConfirmed);
    if (sent != 0)
        return middlewareFailure(sent);
    DravoData reply;
    const int waited = awaitReply(ticket, handle, reply, kRtuWait, UntypedReply);
    if (waited != 0)
        return middlewareFailure(waited);
    reply.CastType(kReplyType);
    DravoPlus::DisConnect(handle);
    return driverAnswer(reply);
}

/* No tag check and no envelope check: generic commands go to the driver as
 * they are, and a driver that is not running is told apart. */
RemoteSystemResult runDeviceCmd(RemoteCommandTicket* ticket, int pointId, int driver, int channelId,
                                const QString& par1, const QByteArray& par2)
{
    DravoData envelope(kEnvelopeType);
    DravoData param("REMOTE_GENERIC_CMD");
    param.PutValue("pid", static_cast<std::int32_t>(pointId));
    param.PutValue("par1", par1.toLatin1().constData());
    param.PutValue("sizeBuffer", static_cast<std::int32_t>(par2.size()));
    param.PutValue("par2", par2.constData(), par2.size());
    envelope.PutValue("cmdCode", std::int32_t{6});
    envelope.PutValue("param", param);
    envelope.PutValue("commid", static_cast<std::int32_t>(channelId));

    DravoHandle handle = 0;
    const int sent = DravoPlus::SendPacket(driverTarget(driver).constData(), envelope, handle, kSendConfirmed);
    if (sent == DRAVO_NO_RECEIVER)
        return makeResult(MiddlewareFailed, sent, ScadaRuntimeInterface::tr("Driver is offline"));
    if (sent != 0)
        return middlewareFailure(sent);
    DravoData reply;
    const int waited = awaitReply(ticket, handle, reply, kGenericWait, UntypedReply);
    if (waited != 0)
        return middlewareFailure(waited);
    reply.CastType(kReplyType);

    const qint32 failwhy = reply.GetShortValue("failwhy");
    if (failwhy == Morvane::UndefinedError)
        return makeResult(DriverAnswered, failwhy, failMessageOf(reply));
    DravoPlus::DisConnect(handle);
    RemoteSystemResult result = makeResult(DriverAnswered, failwhy,
        Morvane::driverErrorString(static_cast<Morvane::DriverErrorResult>(failwhy)));
    const qint32 addSize = reply.GetSignedIntValue("addSize");
    if (addSize != 0) {
        /* The driver's bytes follow the fixed reply: a qCompress stream (a
         * 4-byte big-endian length, then zlib). Never read past the buffer,
         * and never inflate more than a device answer can be: whoever
         * serves the driver's name writes these bytes. */
        const int fixedSize = DravoData(kReplyType).GetBufferSize();
        const int available = reply.GetBufferSize() - fixedSize;
        const int count = qBound(0, addSize, qMax(0, available));
        if (count > 0)
            result.data = Morvane::boundedUncompress(reply.GetRawValue() + fixedSize, count,
                                                     Morvane::LargestDeviceCmdData);
    }
    return result;
}

RemoteSystemResult runWriteStatusPoint(ScadaRuntimeInterface& runtime, RemoteCommandTicket* ticket, int pointId,
                                       int driver, DravoData& envelope, bool isUnConfirmed)
{
    if (!controlAllowed(runtime, pointId, nullptr))
        return inhibited();

    envelope.PutValue("isUnConfirmed", static_cast<std::uint8_t>(isUnConfirmed ? 1 : 0));
    DravoHandle handle = 0;
    const int sent = DravoPlus::SendPacket(driverTarget(driver).constData(), envelope, handle, kSendConfirmed);
    if (sent != 0)
        return middlewareFailure(sent);
    if (isUnConfirmed)
        return makeResult(SentUnconfirmed, 0);
    DravoData reply(kReplyType);
    const int waited = awaitReply(ticket, handle, reply, kControlWait, TypedReply);
    if (waited != 0)
        return middlewareFailure(waited);
    DravoPlus::DisConnect(handle);
    return driverAnswer(reply);
}

} // namespace

/* ---- The blocking forms: the command on the caller's thread --------------- */

RemoteSystemResult ScadaRuntimeInterface::controlAo(int pointId, int driver, int channelId, double value,
                                                    bool isUnConfirmed)
{
    return runControlAo(*this, nullptr, pointId, driver, channelId, value, isUnConfirmed);
}

RemoteSystemResult ScadaRuntimeInterface::controlAos(const QList<QPair<int, double>>& values, int driver,
                                                     int channelId, int device)
{
    return runControlAos(*this, nullptr, values, driver, channelId, device);
}

RemoteSystemResult ScadaRuntimeInterface::controlRtu(int rtuId, int driver, int channelId,
                                                     Morvane::RtuControlCode code)
{
    return runControlRtu(nullptr, rtuId, driver, channelId, code);
}

RemoteSystemResult ScadaRuntimeInterface::integrityPoll(int rtuId, int driver, int channelId)
{
    return controlRtu(rtuId, driver, channelId, Morvane::IntegrityPoll);
}

RemoteSystemResult ScadaRuntimeInterface::statusPoll(int rtuId, int driver, int channelId)
{
    return controlRtu(rtuId, driver, channelId, Morvane::StatusPoll);
}

RemoteSystemResult ScadaRuntimeInterface::analogPoll(int rtuId, int driver, int channelId)
{
    return controlRtu(rtuId, driver, channelId, Morvane::AnalogPoll);
}

RemoteSystemResult ScadaRuntimeInterface::restartDevice(int rtuId, int driver, int channelId)
{
    return controlRtu(rtuId, driver, channelId, Morvane::DeviceRestart);
}

RemoteSystemResult ScadaRuntimeInterface::eventPoll(int rtuId, int driver, int channelId)
{
    return controlRtu(rtuId, driver, channelId, Morvane::EventPoll);
}

RemoteSystemResult ScadaRuntimeInterface::timeSync(int rtuId, int driver, int channelId)
{
    return controlRtu(rtuId, driver, channelId, Morvane::TimeSynchronization);
}

RemoteSystemResult ScadaRuntimeInterface::deviceCmd(int pointId, int driver, int channelId, const QString& par1,
                                                    const QByteArray& par2)
{
    return runDeviceCmd(nullptr, pointId, driver, channelId, par1, par2);
}

/* The channel id is not used: the caller's envelope carries what it needs. */
RemoteSystemResult ScadaRuntimeInterface::writeStatusPoint(int pointId, int driver, int channelId,
                                                           DravoData& envelope, bool isUnConfirmed)
{
    Q_UNUSED(channelId)
    return runWriteStatusPoint(*this, nullptr, pointId, driver, envelope, isUnConfirmed);
}

/* ---- The asynchronous forms: the same commands on a command thread -------- */

RemoteCommandReply* ScadaRuntimeInterface::controlAoAsync(int pointId, int driver, int channelId, double value,
                                                          bool isUnConfirmed)
{
    return d->startCommand([=](RemoteCommandTicket* ticket) {
        return runControlAo(*this, ticket, pointId, driver, channelId, value, isUnConfirmed);
    });
}

RemoteCommandReply* ScadaRuntimeInterface::controlAosAsync(const QList<QPair<int, double>>& values, int driver,
                                                           int channelId, int device)
{
    return d->startCommand([=](RemoteCommandTicket* ticket) {
        return runControlAos(*this, ticket, values, driver, channelId, device);
    });
}

RemoteCommandReply* ScadaRuntimeInterface::controlRtuAsync(int rtuId, int driver, int channelId,
                                                           Morvane::RtuControlCode code)
{
    return d->startCommand([=](RemoteCommandTicket* ticket) {
        return runControlRtu(ticket, rtuId, driver, channelId, code);
    });
}

RemoteCommandReply* ScadaRuntimeInterface::integrityPollAsync(int rtuId, int driver, int channelId)
{
    return controlRtuAsync(rtuId, driver, channelId, Morvane::IntegrityPoll);
}

RemoteCommandReply* ScadaRuntimeInterface::statusPollAsync(int rtuId, int driver, int channelId)
{
    return controlRtuAsync(rtuId, driver, channelId, Morvane::StatusPoll);
}

RemoteCommandReply* ScadaRuntimeInterface::analogPollAsync(int rtuId, int driver, int channelId)
{
    return controlRtuAsync(rtuId, driver, channelId, Morvane::AnalogPoll);
}

RemoteCommandReply* ScadaRuntimeInterface::restartDeviceAsync(int rtuId, int driver, int channelId)
{
    return controlRtuAsync(rtuId, driver, channelId, Morvane::DeviceRestart);
}

RemoteCommandReply* ScadaRuntimeInterface::eventPollAsync(int rtuId, int driver, int channelId)
{
    return controlRtuAsync(rtuId, driver, channelId, Morvane::EventPoll);
}

RemoteCommandReply* ScadaRuntimeInterface::timeSyncAsync(int rtuId, int driver, int channelId)
{
    return controlRtuAsync(rtuId, driver, channelId, Morvane::TimeSynchronization);
}

RemoteCommandReply* ScadaRuntimeInterface::deviceCmdAsync(int pointId, int driver, int channelId,
                                                          const QString& par1, const QByteArray& par2)
{
    return d->startCommand([=](RemoteCommandTicket* ticket) {
        return runDeviceCmd(ticket, pointId, driver, channelId, par1, par2);
    });
}

/* The worker sends its own copy of the envelope; the caller's is untouched. */
RemoteCommandReply* ScadaRuntimeInterface::writeStatusPointAsync(int pointId, int driver, int channelId,
                                                                 const DravoData& envelope, bool isUnConfirmed)
{
    Q_UNUSED(channelId)
    return d->startCommand([=](RemoteCommandTicket* ticket) {
        DravoData sent = envelope;
        return runWriteStatusPoint(*this, ticket, pointId, driver, sent, isUnConfirmed);
    });
}
