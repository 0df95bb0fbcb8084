/*
 * main.cpp: mvconsole, the operator console.
 *
 *   mvconsole                       the runtime server of the middleware's
 *                                   server setting (e.g. an mvsim over Redis)
 *   mvconsole --servers redis://…   that server
 *   mvconsole --simulate            a whole simulated plant in this process
 *                                   (embedded server, sample plant)
 *
 * --watch NAME puts a point into the table at start (repeatable);
 * --quit-after MS quits after MS milliseconds, first saving the window to
 * --screenshot FILE when given and printing the table's rows and the number
 * of changes received (documentation, smoke checks and tests).
 *
 * The texts follow the operator's locale (LANG, LC_ALL, LC_MESSAGES) when a
 * translation is installed for it (German and French are).
 *
 * Exit status: 0 normally, 1 when the simulator could not start or the
 * screenshot could not be saved, 2 for a wrong command line.
 */
#include "consolewindow.h"
#include "pointtablemodel.h"

#include "plantsimulator.h"

#include <DravoPlus/DravoPlus.h>
#include <MVShared/Translations.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>

#include <cstdio>
#include <memory>

namespace {

struct Options {
    QString servers;
    bool simulate = false;
    QString plant;
    int rate = 200;
    QStringList watch;
    QString screenshot;
    int quitAfter = -1;
};

bool parse(QCoreApplication& app, Options& options)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The operator console."));
    parser.addHelpOption();
    const QCommandLineOption servers(QStringLiteral("servers"), QStringLiteral("Runtime servers, comma separated."),
                                     QStringLiteral("addresses"));
    const QCommandLineOption simulate(QStringLiteral("simulate"), QStringLiteral("Simulate a plant in this process."));
    const QCommandLineOption plant(QStringLiteral("plant"), QStringLiteral("Plant file of the simulation."),
                                   QStringLiteral("file"));
    const QCommandLineOption rate(QStringLiteral("rate"), QStringLiteral("Field changes per second (simulation)."),
                                  QStringLiteral("count"), QStringLiteral("200"));
    const QCommandLineOption watch(QStringLiteral("watch"), QStringLiteral("A point to show at start."),
                                   QStringLiteral("name"));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"), QStringLiteral("Save the window to a file."),
                                        QStringLiteral("file"));
    const QCommandLineOption quitAfter(QStringLiteral("quit-after"), QStringLiteral("Quit after this many ms."),
                                       QStringLiteral("ms"));
    parser.addOptions({servers, simulate, plant, rate, watch, screenshot, quitAfter});
    if (!parser.parse(app.arguments()) || !parser.positionalArguments().isEmpty()) {
        std::fprintf(stderr, "%s\n%s", qPrintable(parser.errorText()), qPrintable(parser.helpText()));
        return false;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        std::printf("%s", qPrintable(parser.helpText()));
        std::exit(0);
    }
    bool rateOk = true;
    bool quitOk = true;
    options.servers = parser.value(servers);
    options.simulate = parser.isSet(simulate);
    options.plant = parser.isSet(plant) ? parser.value(plant) : PlantIndex::samplePlantPath();
    options.rate = parser.value(rate).toInt(&rateOk);
    options.watch = parser.values(watch);
    options.screenshot = parser.value(screenshot);
    options.quitAfter = parser.isSet(quitAfter) ? parser.value(quitAfter).toInt(&quitOk) : -1;
    if (!rateOk || !quitOk || options.rate < 0) {
        std::fprintf(stderr, "--rate and --quit-after take whole numbers\n%s", qPrintable(parser.helpText()));
        return false;
    }
    return true;
}

void printTable(const ConsoleWindow& window)
{
    const PointTableModel* model = window.model();
    for (int i = 0; i < model->rowCount(); ++i) {
        const PointTableModel::Row* row = model->row(i);
        std::printf("%s %s = %s (%d changes)\n", qPrintable(row->kind), qPrintable(row->name), qPrintable(row->value),
                    row->updates);
    }
    std::printf("%lld changes received\n", window.changesReceived());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("mvconsole"));
    /* The operator's language: the library's texts, Qt's and the console's. */
    Morvane::installTranslators();
    Morvane::installCatalogue(QStringLiteral("mvconsole"));
    Options options;
    if (!parse(app, options))
        return 2;
    if (!options.servers.isEmpty())
        qputenv("DRAVO_SERVERS", options.servers.toUtf8());
    else if (options.simulate)
        qputenv("DRAVO_SERVERS", "embedded");

    std::unique_ptr<PlantSimulator> simulator;
    if (options.simulate) {
        DravoPlus::ConnectMid(nullptr);
        PlantSimulator::Settings settings;
        settings.plantPath = options.plant;
        settings.changesPerSecond = options.rate;
        simulator = std::make_unique<PlantSimulator>(settings);
        QString error;
        if (!simulator->start(&error)) {
            std::fprintf(stderr, "mvconsole: the simulation did not start: %s\n", qPrintable(error));
            return 1;
        }
    }

    ConsoleWindow window;
    window.start();
    for (const QString& name : options.watch)
        if (!window.watchPoint(name))
            std::fprintf(stderr, "mvconsole: no point %s\n", qPrintable(name));
    window.show();

    int status = 0;
    if (options.quitAfter >= 0) {
        QTimer::singleShot(options.quitAfter, &app, [&] {
            if (!options.screenshot.isEmpty() && !window.grab().save(options.screenshot)) {
                std::fprintf(stderr, "mvconsole: cannot save %s\n", qPrintable(options.screenshot));
                status = 1;
            }
            printTable(window);
            app.quit();
        });
    }
    const int loop = app.exec();
    if (simulator)
        simulator->stop();
    return status ? status : loop;
}
