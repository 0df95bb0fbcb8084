/*
 * main.cpp: plantgen writes a made-up plant of a given number of points as
 * a plant file, for trying the loader, the server and the operator tools at
 * plant scale without checking a huge file in.
 *
 *   plantgen --points 100000 -o plant100k.json
 *
 * The same number of points always gives the same file. A bad command line
 * gets a message and the usage on standard error and exit code 2; a file
 * that cannot be written, exit code 1.
 */
#include "plantgenerator.h"
#include "plantwriter.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QTextStream>

namespace {

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream& err()
{
    static QTextStream stream(stderr);
    return stream;
}

int usageError(const QCommandLineParser& parser, const QString& message)
{
    err() << "plantgen: " << message << "\n\n" << parser.helpText();
    err().flush();
    return 2;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("plantgen"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Writes a made-up plant file of the given number of points: stations, channels, RTUs,\n"
                       "a tenth status points, a twentieth text points and the rest analog points."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption pointsOption(QStringLiteral("points"),
                                          QStringLiteral("Number of points, 1 to %1.").arg(plantgen::kMaxPoints),
                                          QStringLiteral("n"));
    const QCommandLineOption outputOption(QStringList{QStringLiteral("o"), QStringLiteral("output")},
                                          QStringLiteral("The plant file to write (replaced if it exists)."),
                                          QStringLiteral("file"));
    parser.addOption(pointsOption);
    parser.addOption(outputOption);

    if (!parser.parse(QCoreApplication::arguments()))
        return usageError(parser, parser.errorText());
    if (parser.isSet(helpOption)) {
        out() << parser.helpText();
        return 0;
    }
    if (!parser.positionalArguments().isEmpty())
        return usageError(parser, QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));
    if (!parser.isSet(pointsOption))
        return usageError(parser, QStringLiteral("give the number of points with --points"));
    if (!parser.isSet(outputOption) || parser.value(outputOption).isEmpty())
        return usageError(parser, QStringLiteral("give the file to write with -o"));
    bool numeric = false;
    const int points = parser.value(pointsOption).toInt(&numeric);
    if (!numeric || points < 1 || points > plantgen::kMaxPoints)
        return usageError(parser, QStringLiteral("--points must be a whole number from 1 to %1, not '%2'")
                                      .arg(plantgen::kMaxPoints)
                                      .arg(parser.value(pointsOption)));

    MVPlant::Plant plant;
    std::string error;
    const std::string path = QFile::encodeName(parser.value(outputOption)).toStdString();
    if (!plantgen::generatePlant(points, plant, &error) || !plantgen::writePlantFile(plant, path, &error)) {
        err() << "plantgen: " << QString::fromStdString(error) << Qt::endl;
        return 1;
    }
    const plantgen::PlantShape shape = plantgen::shapeOf(points);
    out() << "plantgen: wrote " << parser.value(outputOption) << ": " << points << " points (" << shape.statusPoints
          << " status, " << shape.analogPoints << " analog, " << shape.textPoints << " text) on "
          << shape.remoteUnits << " RTUs, " << shape.channels << " channels, " << shape.stations << " stations"
          << Qt::endl;
    return 0;
}
