/*
 * commands.cpp: what each inspector command does with the middleware.
 *
 * Commands print their results on the session's output and failures on its
 * error stream as "(error) <code> <text>", the middleware's own result code
 * and text, so that scripts can tell a missing record (2001) from a stopped
 * driver (2017). Names and texts that came from the server go through
 * printable(): the server is shared, and what another program stored there
 * must not reach the engineer's terminal as control sequences.
 */
#include "commands.h"

#include "recordtext.h"

#include <DravoPlus/DravoPlus.h>
#include <MVPlant/Plant.h>

#include <cstdlib>
#include <iomanip>

#include <unistd.h>

namespace inspector {

namespace {

using Words = std::vector<std::string>;
using Handler = Outcome (*)(const Words& args, Session& session);

struct Command {
    const char* name;
    const char* arguments;
    const char* help;
    int minArgs;
    int maxArgs;       /* -1: no limit */
    bool needsServer;  /* false: the dictionary alone answers */
    Handler run;
};

Outcome failure(Session& s, int code, const std::string& context = std::string())
{
    s.err << "(error) " << code << ' ' << utf8(DravoPlus::GetErrorString(code));
    if (!context.empty())
        s.err << ": " << context;
    s.err << '\n';
    return Failed;
}

/* A command without output of its own says OK when it succeeded. */
Outcome acknowledged(Session& s, int code, const std::string& context = std::string())
{
    if (code != DRAVO_OK)
        return failure(s, code, context);
    s.out << "OK\n";
    return Done;
}

/* An event kind as a number (decimal or 0x hex) or a dictionary event name. */
bool parseKind(const std::string& text, int& kind)
{
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 0);
    if (end != text.c_str() && *end == '\0' && value > 0 && value <= 0x7FFFFFFF) {
        kind = static_cast<int>(value);
        return true;
    }
    kind = DravoPlus::GetEventKind(text.c_str());
    return kind > 0;
}

bool parseCount(const std::string& text, int& count)
{
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || value < 0 || value > 0x7FFFFFFF)
        return false;
    count = static_cast<int>(value);
    return true;
}

/* FIELD=VALUE words, checked before anything is asked of the server. */
bool parseAssignments(Session& s, const Words& words, std::vector<FieldAssignment>& out)
{
    for (const std::string& word : words) {
        FieldAssignment a;
        if (!splitAssignment(word, a)) {
            s.err << "expected FIELD=VALUE, got \"" << word << "\"\n";
            return false;
        }
        out.push_back(a);
    }
    return true;
}

/* Puts every assignment into a record or partial record. */
template <typename Record>
Outcome putAll(Session& s, const std::vector<FieldAssignment>& assignments, Record& record)
{
    for (const FieldAssignment& a : assignments) {
        std::string problem;
        const int rc = putField(record, a, problem);
        if (rc != DRAVO_OK)
            return failure(s, rc, problem.empty() ? a.field : problem);
    }
    return Done;
}

} // namespace

Outcome buildRecord(Session& s, const std::string& type, const Words& words, DravoData& record)
{
    std::vector<FieldAssignment> assignments;
    if (!parseAssignments(s, words, assignments))
        return Misused;
    record = DravoData(type.c_str());
    if (!record.IsGood())
        return failure(s, DRAVO_UNKNOWN_TYPE, type);
    return putAll(s, assignments, record);
}

namespace {

Outcome cmdGet(const Words& args, Session& s)
{
    DravoData record;
    const int rc = DravoPlus::GetDataPoint(args[0].c_str(), record, nullptr, nullptr);
    if (rc != DRAVO_OK)
        return failure(s, rc, args[0]);
    printRecord(s.out, record);
    return Done;
}

Outcome cmdMget(const Words& args, Session& s)
{
    DravoDataList list;
    const int rc = DravoPlus::GetDataPointN(args, list, nullptr, nullptr);
    if (rc != DRAVO_OK)
        return failure(s, rc);
    for (const DravoData& record : list)
        printRecord(s.out, record);
    s.out << list.size() << " of " << args.size() << " found\n";
    return list.size() == static_cast<int>(args.size()) ? Done : Failed;
}

Outcome cmdList(const Words& args, Session& s)
{
    DravoDataList list;
    const int rc = DravoPlus::GetDataPointByTypeName(args[0].c_str(), list, nullptr, nullptr);
    if (rc != DRAVO_OK)
        return failure(s, rc, args[0]);
    for (const DravoData& record : list)
        s.out << printable(record.GetDataName()) << '\n';
    s.out << list.size() << " records\n";
    return Done;
}

Outcome cmdTypes(const Words&, Session& s)
{
    for (const std::string& name : DravoPlus::GetTypeNames())
        s.out << name << '\n';
    return Done;
}

Outcome cmdDescribe(const Words& args, Session& s)
{
    DravoTypeInfo info;
    const int rc = DravoPlus::GetTypeInfo(args[0].c_str(), info);
    if (rc != DRAVO_OK)
        return failure(s, rc, args[0]);
    s.out << info.name << " (" << info.size << " bytes";
    if (!info.sourceType.empty())
        s.out << ", cut from " << info.sourceType;
    s.out << ")\n";
    for (const DravoFieldInfo& f : info.fields) {
        s.out << "  " << std::left << std::setw(20) << f.name << ' ' << std::setw(7)
              << DravoPlus::FieldKindName(f.kind);
        if (f.offset >= 0)
            s.out << " offset " << f.offset << " size " << f.size;
        else
            s.out << " variable";
        if (!f.recordType.empty())
            s.out << " record " << f.recordType;
        s.out << '\n';
    }
    return Done;
}

Outcome cmdPut(const Words& args, Session& s)
{
    std::vector<FieldAssignment> assignments;
    if (!parseAssignments(s, Words(args.begin() + 1, args.end()), assignments))
        return Misused;
    DravoData stored;
    const int rc = DravoPlus::GetDataPoint(args[0].c_str(), stored, nullptr, nullptr);
    if (rc != DRAVO_OK)
        return failure(s, rc, args[0]);
    DravoPartialData partial(stored.GetTypeName(), args[0].c_str());
    const Outcome filled = putAll(s, assignments, partial);
    if (filled != Done)
        return filled;
    return acknowledged(s, DravoPlus::PutPartialDataPoint(args[0].c_str(), partial, nullptr, nullptr), args[0]);
}

Outcome cmdLoad(const Words& args, Session& s)
{
    MVPlant::PlantSummary summary;
    std::string error;
    const int rc = MVPlant::LoadPlant(args[0].c_str(), &summary, &error);
    if (rc != DRAVO_OK)
        return failure(s, rc, error);
    s.out << "loaded " << summary.stations << " stations, " << summary.channels << " channels, "
          << summary.remoteUnits << " remote units, " << summary.statusPoints << " status, "
          << summary.analogPoints << " analog and " << summary.textPoints << " text points ("
          << summary.records << " records)\n";
    return Done;
}

/* A box lives as long as the run that made it, unless it is persistent:
 * then it keeps collecting for later runs until rmbox. */
Outcome cmdMkbox(const Words& args, Session& s)
{
    int kind = 0;
    int capacity = 10000;
    const bool persistent = args.size() > 3 && args[3] == "persistent";
    if (!parseKind(args[1], kind) || (args.size() > 2 && !parseCount(args[2], capacity))
        || (args.size() > 3 && !persistent)) {
        s.err << "mkbox: KIND is a number or an event name, CAPACITY a count, then optionally \"persistent\"\n";
        return Misused;
    }
    int rc = DravoPlus::CreateEventBox(args[0].c_str(), kind, capacity, nullptr, nullptr);
    if (rc == DRAVO_OK && persistent)
        rc = DravoPlus::SetPersistent(args[0].c_str(), true, nullptr, nullptr);
    return acknowledged(s, rc, args[0]);
}

Outcome cmdRmbox(const Words& args, Session& s)
{
    return acknowledged(s, DravoPlus::DeleteEventBox(args[0].c_str(), nullptr, nullptr), args[0]);
}

Outcome cmdBoxes(const Words&, Session& s)
{
    std::vector<DravoEventBoxInfo> boxes;
    const int rc = DravoPlus::ListEventBoxes(boxes, nullptr);
    if (rc != DRAVO_OK)
        return failure(s, rc);
    s.out << std::left << std::setw(32) << "box" << std::right << std::setw(10) << "kind" << std::setw(10)
          << "capacity" << std::setw(8) << "queued" << std::setw(10) << "dropped" << "  persistent  domain\n";
    for (const DravoEventBoxInfo& b : boxes) {
        s.out << std::left << std::setw(32) << printable(b.name) << std::right << std::setw(10) << b.kind << std::setw(10)
              << b.capacity << std::setw(8) << b.queued << std::setw(10) << b.dropped << "  "
              << std::left << std::setw(10) << (b.persistent ? "yes" : "no") << "  " << printable(b.domain) << '\n';
        if (!b.damage.empty())
            s.out << "  damaged: " << printable(b.damage) << "; " << b.skipped << " records not delivered\n";
    }
    s.out << boxes.size() << " boxes\n";
    return Done;
}

Outcome cmdHeartbeats(const Words&, Session& s)
{
    std::vector<DravoHeartbeatInfo> entries;
    const int rc = DravoPlus::ListHeartbeats(entries, nullptr);
    if (rc != DRAVO_OK)
        return failure(s, rc);
    for (const DravoHeartbeatInfo& h : entries)
        s.out << printable(h.task) << "  held by " << printable(h.holder) << (h.live ? "  live" : "  lapsed") << '\n';
    s.out << entries.size() << " heartbeat entries\n";
    return Done;
}

/* Takes records from the port until count arrived (0: no limit), a wait
 * passes without any, or the user interrupts. */
Outcome receiveLoop(Session& s, unsigned int port, int count)
{
    const int slice = s.waitSeconds > 0 ? s.waitSeconds : 1;
    int received = 0;
    while ((count == 0 || received < count) && !(s.interrupted && s.interrupted->load())) {
        DravoDataList list;
        const int wanted = count == 0 ? 1000 : count - received;
        const int rc = DravoPlus::ReceiveUndefinedEventN(port, list, wanted, slice, nullptr, nullptr);
        if (rc == DRAVO_TIMEOUT && s.waitSeconds == 0)
            continue;
        if (rc == DRAVO_TIMEOUT)
            break;
        if (rc != DRAVO_OK)
            return failure(s, rc);
        for (const DravoData& record : list) {
            s.out << '#' << ++received << ' ';
            printRecord(s.out, record);
        }
        s.out.flush();
    }
    s.out << received << " records\n";
    return count == 0 || received == count ? Done : failure(s, DRAVO_TIMEOUT);
}

Outcome watchBox(const std::string& box, int count, Session& s)
{
    unsigned int port = 0;
    const int rc = DravoPlus::ConnectPortForRecv(box.c_str(), port, nullptr, nullptr);
    if (rc != DRAVO_OK)
        return failure(s, rc, box);
    return receiveLoop(s, port, count);
}

/* A box of this process's own on the kind, removed when the watch ends. */
Outcome watchKind(int kind, int count, Session& s)
{
    static int watches = 0;
    const std::string box = "dravo.watch." + std::to_string(::getpid()) + "." + std::to_string(++watches);
    const int rc = DravoPlus::CreateEventBox(box.c_str(), kind, 100000, nullptr, nullptr);
    if (rc != DRAVO_OK)
        return failure(s, rc, box);
    s.out << "watching kind " << kind << '\n';
    s.out.flush();
    const Outcome outcome = watchBox(box, count, s);
    DravoPlus::DeleteEventBox(box.c_str(), nullptr, nullptr);
    return outcome;
}

Outcome cmdWatch(const Words& args, Session& s)
{
    int count = 0;
    if (args.size() > 2 && !parseCount(args[2], count)) {
        s.err << "watch: COUNT must be a count\n";
        return Misused;
    }
    if (args[0] == "box")
        return watchBox(args[1], count, s);
    int kind = 0;
    if (args[0] != "kind" || !parseKind(args[1], kind)) {
        s.err << "watch: give \"kind KIND\" (a number or an event name) or \"box NAME\"\n";
        return Misused;
    }
    return watchKind(kind, count, s);
}

Outcome cmdEvent(const Words& args, Session& s)
{
    int kind = 0;
    if (!parseKind(args[0], kind)) {
        s.err << "event: KIND is a number or an event name\n";
        return Misused;
    }
    DravoData record;
    const Outcome built = buildRecord(s, args[1], Words(args.begin() + 2, args.end()), record);
    if (built != Done)
        return built;
    return acknowledged(s, DravoPlus::SendEvent(kind, record, "dravo", nullptr));
}

/* A request that must find its receiver now, and the reply it gets. */
Outcome cmdSend(const Words& args, Session& s)
{
    DravoData request;
    const Outcome built = buildRecord(s, args[1], Words(args.begin() + 2, args.end()), request);
    if (built != Done)
        return built;
    DravoHandle handle = 0;
    int rc = DravoPlus::SendPacket(args[0].c_str(), request, handle, DRAVO_PACKET_REPLY | DRAVO_PACKET_PRESENT);
    if (rc != DRAVO_OK)
        return failure(s, rc, args[0]);
    DravoData reply;
    rc = DravoPlus::WaitReply(handle, reply, s.waitSeconds > 0 ? s.waitSeconds : 10);
    DravoPlus::DisConnect(handle);
    if (rc != DRAVO_OK)
        return failure(s, rc, "reply from " + args[0]);
    printRecord(s.out, reply);
    return Done;
}

Outcome cmdServer(const Words&, Session& s)
{
    const char* active = DravoPlus::activeServer(nullptr);
    s.out << "active server: " << (active ? active : "(none)") << '\n';
    ObjectNames names;
    if (DravoPlus::GetServerAddress(nullptr, names) == DRAVO_OK) {
        for (int i = 0; i < names.count; ++i)
            s.out << "address " << i + 1 << ": " << DravoPlus::MaskedAddress(names.names[i]) << '\n';
        DravoPlus::DeatoryNameSeq(names);
    }
    s.out << "settings file: " << DravoPlus::SettingsFilePath() << '\n';
    return Done;
}

Outcome cmdHelp(const Words&, Session& s)
{
    printUsage(s.out);
    return Done;
}

const Command kCommands[] = {
    {"get", "NAME", "one record, every field decoded", 1, 1, true, cmdGet},
    {"mget", "NAME...", "several records in one request", 1, -1, true, cmdMget},
    {"list", "TYPE", "the names of every record of a type", 1, 1, true, cmdList},
    {"put", "NAME FIELD=VALUE...", "writes fields of a record and publishes the change", 2, -1, true, cmdPut},
    {"load", "FILE", "loads a plant file", 1, 1, true, cmdLoad},
    {"types", "", "the record types of the data dictionary", 0, 0, false, cmdTypes},
    {"describe", "TYPE", "the fields of a record type", 1, 1, false, cmdDescribe},
    {"mkbox", "NAME KIND [CAPACITY [persistent]]",
     "creates an event box on an event kind (a persistent one outlives this run)", 2, 4, true, cmdMkbox},
    {"rmbox", "NAME", "deletes an event box", 1, 1, true, cmdRmbox},
    {"boxes", "", "every event box with its queue", 0, 0, true, cmdBoxes},
    {"heartbeats", "", "every heartbeat entry and its holder", 0, 0, true, cmdHeartbeats},
    {"watch", "kind KIND [COUNT] | box NAME [COUNT]",
     "prints events as they arrive (a box's records are taken from it)", 2, 3, true, cmdWatch},
    {"event", "KIND TYPE [FIELD=VALUE...]", "sends an event", 2, -1, true, cmdEvent},
    {"send", "TARGET TYPE [FIELD=VALUE...]", "sends a request packet and prints the reply", 2, -1, true, cmdSend},
    {"server", "", "the active server and the configured addresses", 0, 0, true, cmdServer},
    {"help", "", "this text", 0, 0, false, cmdHelp},
};

const Command* findCommand(const std::string& name)
{
    for (const Command& c : kCommands)
        if (name == c.name)
            return &c;
    return nullptr;
}

bool connect(Session& s)
{
    if (s.connected)
        return true;
    const int rc = DravoPlus::ConnectMid(nullptr);
    if (rc != DRAVO_OK) {
        failure(s, rc, "connecting to the runtime server");
        return false;
    }
    s.connected = true;
    return true;
}

} // namespace

Outcome checkCommand(const std::vector<std::string>& words, std::ostream& err, bool& needsServer)
{
    needsServer = false;
    if (words.empty())
        return Done;
    const Command* command = findCommand(words[0]);
    if (!command) {
        err << "unknown command \"" << words[0] << "\" (try: help)\n";
        return Misused;
    }
    const int args = static_cast<int>(words.size()) - 1;
    if (args < command->minArgs || (command->maxArgs >= 0 && args > command->maxArgs)) {
        err << "usage: " << command->name << ' ' << command->arguments << '\n';
        return Misused;
    }
    needsServer = command->needsServer;
    return Done;
}

Outcome runCommand(const std::vector<std::string>& words, Session& session)
{
    bool needsServer = false;
    const Outcome checked = checkCommand(words, session.err, needsServer);
    if (checked != Done || words.empty())
        return checked;
    if (needsServer && !connect(session))
        return Failed;
    return findCommand(words[0])->run(Words(words.begin() + 1, words.end()), session);
}

void printUsage(std::ostream& out)
{
    out << "usage: dravo [--servers ADDRESS[,ADDRESS]] [--wait SECONDS] [COMMAND [ARGUMENT...]]\n"
           "Without a command, commands are read from standard input, one per line.\n"
           "--servers  the runtime servers (\"embedded\", redis://[user:password@]host:port[/db] or\n"
           "           redis-sentinel://[user:password@]host:port[,host:port...]/name[/db]);\n"
           "           default: the middleware's server setting\n"
           "--wait     seconds a watch waits for the next event (default: until interrupted)\n"
           "           and a request for its reply (default 10)\n"
           "Commands:\n";
    for (const Command& c : kCommands) {
        const std::string synopsis = std::string(c.name) + (*c.arguments ? " " : "") + c.arguments;
        out << "  " << std::left << std::setw(40) << synopsis << ' ' << c.help << '\n';
    }
}

bool splitWords(const std::string& line, std::vector<std::string>& words)
{
    words.clear();
    std::string word;
    bool inWord = false;
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '\\' && i + 1 < line.size()) {
            word += line[++i];
            inWord = true;
        } else if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if (!quoted && (c == ' ' || c == '\t' || c == '\r')) {
            if (inWord)
                words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord)
        words.push_back(word);
    return !quoted;
}

} // namespace inspector
