/*
 * watchchanges: an operator station without a screen. It receives the
 * plant's change stream the way a display does (MorvaneChangeEvent in
 * client mode, its signals delivered to the main thread), hears of every way
 * changes may have been lost, and prints what it got:
 *
 *   watchchanges <seconds> [report seconds]
 *
 * "ready" once its event box exists, then every report period a line
 * "at <s> s: changes <n> losses <n> rss_kb <n>", and at the end
 * "changes <n>" and "losses <n>". The runtime server is the one of the
 * settings ($DRAVO_SERVERS overrides them).
 */
#include <MVShared/MorvaneChangeEvent.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QMetaEnum>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

/* The process's resident memory in kB (0 where it cannot be told). */
long residentKb()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stol(line.substr(6));
    return 0;
}

bool readSeconds(const char* text, int& seconds)
{
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < 1 || value > 30 * 24 * 3600)
        return false;
    seconds = static_cast<int>(value);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    int seconds = 0;
    int reportSeconds = 30;
    if (argc < 2 || argc > 3 || !readSeconds(argv[1], seconds) || (argc == 3 && !readSeconds(argv[2], reportSeconds))) {
        std::fprintf(stderr, "usage: watchchanges <seconds> [report seconds]\n");
        return 2;
    }
    if (const int rc = DravoPlus::ConnectMid(nullptr)) {
        std::fprintf(stderr, "cannot connect to the runtime server: error %d\n", rc);
        return 1;
    }

    MorvaneChangeEvent receiver;
    long long changes = 0;
    long long losses = 0;
    for (auto signal : {&MorvaneChangeEvent::statusChanged, &MorvaneChangeEvent::analogChanged,
                        &MorvaneChangeEvent::textChanged})
        QObject::connect(&receiver, signal, &app, [&changes](const QList<DravoData>& list) { changes += list.size(); });
    QObject::connect(&receiver, &MorvaneChangeEvent::changesLost, &app,
                     [&losses](int, MorvaneChangeEvent::LossReason reason) {
                         ++losses;
                         std::printf("changes may have been lost: %s\n",
                                     QMetaEnum::fromType<MorvaneChangeEvent::LossReason>().valueToKey(reason));
                         std::fflush(stdout);
                     });
    receiver.init();
    receiver.start();
    std::printf("ready\n");
    std::fflush(stdout);

    QElapsedTimer clock;
    clock.start();
    QTimer report;
    QObject::connect(&report, &QTimer::timeout, &app, [&] {
        std::printf("at %lld s: changes %lld losses %lld rss_kb %ld\n", (clock.elapsed() + 500) / 1000, changes, losses,
                    residentKb());
        std::fflush(stdout);
    });
    report.start(reportSeconds * 1000);
    QTimer::singleShot(seconds * 1000, &app, &QCoreApplication::quit);
    app.exec();

    receiver.shutDown();
    // What the receiving thread emitted before it ended is still queued.
    QCoreApplication::processEvents();
    std::printf("changes %lld\nlosses %lld\n", changes, losses);
    DravoPlus::DisConnectMid(nullptr);
    return 0;
}
