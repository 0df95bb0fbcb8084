/*
 * simulatedfielddriver.cpp: the software field driver. One thread takes the
 * REMOTE_COMMAND2 requests of "Driver<n>", applies the accepted ones to the
 * point database with publishing partial writes, and answers each with the
 * CMD_RESPONSE its rules ask for.
 *
 * What a command changes:
 *   cmdCode 2 (one set-point)      ANALOG<pid> "lastvalue" and "changedTime";
 *   cmdCode 3 (set-point sequence) the same for every entry, in one batch;
 *   cmdCode 0 (RTU command)        REMOTEUNIT<pid> "updateTime"; activate (7)
 *                                  and deactivate (8) also set "scanEnable"
 *                                  to 1 or 0. Polls change nothing else: no
 *                                  poll counters are kept here;
 *   cmdCode 6 (generic command)    nothing;
 *   anything else                  a status output the caller built: when the
 *                                  parameter carries "pid" and "state" (or
 *                                  "value"), STATUS<pid> "lastvalue".
 */
#include "simulatedfielddriver.h"

#include <QtCore/QDateTime>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace {

/* The fixed part of a reply; compressed data goes behind it. */
const char* kReplyType = "CMD_RESPONSE";
/* Room in "failMessage", its terminating zero included. */
constexpr int kFailMessageUnits = 256;

std::uint32_t nowSeconds()
{
    return static_cast<std::uint32_t>(QDateTime::currentSecsSinceEpoch());
}

std::string recordName(const char* prefix, int id)
{
    return std::string(prefix) + std::to_string(id);
}

DravoPartialData analogWrite(int pid, double value)
{
    DravoPartialData partial("ANALOG", recordName("ANALOG", pid).c_str());
    partial.PutValue("lastvalue", value);
    partial.PutValue("changedTime", nowSeconds());
    return partial;
}

/* The index of a "values[N]" field, -1 for any other name. */
long sequenceIndex(const std::string& name)
{
    const std::string prefix = "values[";
    if (name.size() <= prefix.size() + 1 || name.compare(0, prefix.size(), prefix) != 0 || name.back() != ']')
        return -1;
    const std::string digits = name.substr(prefix.size(), name.size() - prefix.size() - 1);
    if (digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos)
        return -1;
    return std::stol(digits);
}

/* The entries of a set-point sequence with an index below its "cnt", in
 * index order. The work is bounded by the entries the request carries: "cnt"
 * comes from the caller and may claim far more than it sent. */
std::vector<DravoData> sequenceEntries(const DravoData& param)
{
    const long count = param.GetSignedIntValue("cnt");
    std::map<long, DravoData> entries;
    for (const DravoData::VariableField& field : param.variableFields()) {
        const long index = sequenceIndex(field.name);
        DravoData entry;
        if (index >= 0 && index < count && param.GetValue(field.name.c_str(), entry) == DRAVO_OK)
            entries.emplace(index, std::move(entry));
    }
    std::vector<DravoData> ordered;
    ordered.reserve(entries.size());
    for (auto& indexed : entries)
        ordered.push_back(std::move(indexed.second));
    return ordered;
}

/* Applies an accepted command to the point database. */
void applyCommand(int cmdCode, const DravoData& param)
{
    switch (cmdCode) {
    case 2:
        DravoPlus::PutPartialDataPoint(nullptr, analogWrite(param.GetSignedIntValue("pid"),
                                                            param.GetDoubleValue("value")),
                                       nullptr, nullptr);
        return;
    case 3: {
        std::vector<DravoPartialData> writes;
        for (const DravoData& entry : sequenceEntries(param))
            writes.push_back(analogWrite(entry.GetSignedIntValue("pid"), entry.GetDoubleValue("value")));
        if (!writes.empty())
            DravoPlus::PutPartialDataPoints(writes, nullptr, nullptr);
        return;
    }
    case 0: {
        const int rtuId = param.GetSignedIntValue("pid");
        const int cmd = param.GetSignedIntValue("cmd");
        DravoPartialData partial("REMOTEUNIT", recordName("REMOTEUNIT", rtuId).c_str());
        partial.PutValue("updateTime", nowSeconds());
        if (cmd == 7 || cmd == 8)
            partial.PutValue("scanEnable", static_cast<std::uint8_t>(cmd == 7 ? 1 : 0));
        DravoPlus::PutPartialDataPoint(nullptr, partial, nullptr, nullptr);
        return;
    }
    case 6:
        return;
    default:
        break;
    }
    /* A status output the caller built itself. */
    if (!param.HasField("pid"))
        return;
    const char* valueField = param.HasField("state") ? "state" : param.HasField("value") ? "value" : nullptr;
    if (!valueField)
        return;
    const int pid = param.GetSignedIntValue("pid");
    DravoPartialData partial("STATUS", recordName("STATUS", pid).c_str());
    partial.PutValue("lastvalue", static_cast<std::int8_t>(param.GetDoubleValue(valueField)));
    partial.PutValue("changedTime", nowSeconds());
    DravoPlus::PutPartialDataPoint(nullptr, partial, nullptr, nullptr);
}

} // namespace

SimulatedFieldDriver::SimulatedFieldDriver(int driverNumber)
    : m_driverNumber(driverNumber)
{
}

SimulatedFieldDriver::~SimulatedFieldDriver()
{
    stop();
}

QString SimulatedFieldDriver::target() const
{
    return QStringLiteral("Driver%1").arg(m_driverNumber);
}

int SimulatedFieldDriver::start()
{
    if (m_running.load())
        return DRAVO_OK;
    const int rc = DravoPlus::RegisterPacketReceiver(target().toLatin1().constData());
    if (rc != DRAVO_OK)
        return rc;
    m_running.store(true);
    m_thread = std::thread(&SimulatedFieldDriver::serve, this);
    return DRAVO_OK;
}

void SimulatedFieldDriver::stop()
{
    if (!m_thread.joinable())
        return;
    m_running.store(false);
    m_thread.join();
    DravoPlus::UnregisterPacketReceiver(target().toLatin1().constData());
}

bool SimulatedFieldDriver::isRunning() const
{
    return m_running.load();
}

void SimulatedFieldDriver::answerForPoint(int id, const Answer& answer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pointAnswers[id] = answer;
}

void SimulatedFieldDriver::answerForCommand(int cmdCode, const Answer& answer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_commandAnswers[cmdCode] = answer;
}

void SimulatedFieldDriver::setDefaultAnswer(const Answer& answer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_defaultAnswer = answer;
}

void SimulatedFieldDriver::clearAnswers()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pointAnswers.clear();
    m_commandAnswers.clear();
    m_defaultAnswer = Answer();
}

int SimulatedFieldDriver::commandsReceived() const
{
    return m_received.load();
}

int SimulatedFieldDriver::commandsAnswered() const
{
    return m_answered.load();
}

SimulatedFieldDriver::Received SimulatedFieldDriver::lastCommand() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_last;
}

SimulatedFieldDriver::Answer SimulatedFieldDriver::answerFor(int cmdCode, int id) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto byPoint = m_pointAnswers.find(id);
    if (byPoint != m_pointAnswers.end())
        return byPoint->second;
    const auto byCommand = m_commandAnswers.find(cmdCode);
    if (byCommand != m_commandAnswers.end())
        return byCommand->second;
    return m_defaultAnswer;
}

/* One receive wait per turn, so that stop() is seen within one wait. A
 * receive that fails for another reason than a timeout (the server is
 * away) is retried after a short pause instead of spinning. */
void SimulatedFieldDriver::serve()
{
    const std::string name = target().toLatin1().toStdString();
    while (m_running.load()) {
        DravoData request;
        DravoHandle replyHandle = 0;
        const int rc = DravoPlus::ReceivePacket(name.c_str(), request, replyHandle, 1);
        if (rc == DRAVO_OK)
            handle(request, replyHandle);
        else if (rc != DRAVO_TIMEOUT)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void SimulatedFieldDriver::handle(const DravoData& request, DravoHandle handle)
{
    Received received;
    received.cmdCode = request.GetSignedIntValue("cmdCode");
    received.commid = request.GetSignedIntValue("commid");
    if (request.HasField("isUnConfirmed"))
        received.isUnConfirmed = static_cast<int>(request.GetUnSignedIntValue("isUnConfirmed"));
    received.envelope = request;
    request.GetValue("param", received.param);
    const DravoData& param = received.param;

    /* The id the point rules are looked up by: a sequence goes by its first
     * entry. */
    int id = param.GetSignedIntValue("pid");
    if (received.cmdCode == 3) {
        DravoData first;
        id = param.GetValue("values[0]", first) == DRAVO_OK ? first.GetSignedIntValue("pid") : 0;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_last = received;
    }
    ++m_received;

    const Answer answer = answerFor(received.cmdCode, id);
    if (answer.failwhy == 0 && answer.apply)
        applyCommand(received.cmdCode, param);
    if (answer.silent)
        return;

    DravoData reply(kReplyType);
    reply.PutValue("failwhy", static_cast<std::int16_t>(answer.failwhy));
    const QString message = answer.failMessage.left(kFailMessageUnits - 1);
    reply.PutValueUtf16("failMessage", reinterpret_cast<const char16_t*>(message.utf16()), message.size());
    if (!answer.data.isEmpty()) {
        /* qCompress: a 4-byte big-endian length, then the zlib stream. */
        const QByteArray compressed = qCompress(answer.data);
        reply.PutValue("addSize", static_cast<std::int32_t>(compressed.size()));
        QByteArray raw(reply.GetRawValue(), reply.GetBufferSize());
        raw.append(compressed);
        reply.SetRawValue(raw.constData(), raw.size());
    }
    if (answer.delayMs > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(answer.delayMs));
    /* Counted before the reply goes, so that a caller holding the reply
     * already sees it counted; taken back if the reply could not go. */
    ++m_answered;
    if (DravoPlus::ReplyPacket(handle, reply) != DRAVO_OK)
        --m_answered;
}
