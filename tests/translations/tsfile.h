/*
 * tsfile.h: a Qt Linguist source (.ts) read into plain values, for the tests
 * that check the catalogues in the tree: their entries, their state and the
 * placeholders and accelerators of each translation.
 */
#ifndef MVTEST_TSFILE_H
#define MVTEST_TSFILE_H

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace mvtest {

struct TsMessage {
    QString context;
    QString source;
    /* The translation's type attribute: empty for a finished entry,
     * "unfinished", "vanished" or "obsolete" otherwise. */
    QString type;
    QString translation;
    /* Plural entries carry their forms instead of one translation. */
    bool numerus = false;
    QStringList numerusForms;
};

struct TsFile {
    QString language;
    QString sourceLanguage;
    QVector<TsMessage> messages;
    /* Why the file could not be read; empty when it was. */
    QString error;
};

TsFile readTsFile(const QString& path);

/* The placeholders of a text (%1, %L2, %n), sorted, each as often as it
 * appears. */
QStringList placeholders(const QString& text);

/* How many keyboard accelerators a text marks: '&' before a letter, "&&"
 * being a plain ampersand. */
int acceleratorCount(const QString& text);

} // namespace mvtest

#endif
