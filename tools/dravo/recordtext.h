/*
 * recordtext.h: records as the inspector shows and takes them.
 *
 * A record is printed field by field, every value decoded through the data
 * dictionary (numbers in decimal, texts quoted, byte fields in hex, nested
 * records indented below their field). Values typed on the command line as
 * FIELD=VALUE are converted by the kind the dictionary gives the field.
 */
#ifndef DRAVO_RECORDTEXT_H
#define DRAVO_RECORDTEXT_H

#include <DravoPlus/DravoPlus.h>

#include <ostream>
#include <string>
#include <vector>

namespace inspector {

/* Prints the record's name, type and every field; indent is the depth of a
 * nested record. */
void printRecord(std::ostream& out, const DravoData& record, int indent = 0);

/* Text from the server (a name, a domain, a holder) as it is printed: control
 * characters as \xNN and backslashes doubled, so that nothing the server
 * holds reaches the terminal as a command. */
std::string printable(const std::string& text);

/* The text of one value of the given kind held in size bytes. */
std::string valueText(DravoFieldKind kind, const char* bytes, std::size_t size);

/* A UTF-16 text (a result code's text, a utf16 field) as UTF-8, converted
 * by Qt (an unpaired surrogate becomes '?'). */
std::string utf8(const std::u16string& text);

/* One FIELD=VALUE argument split at its first '='. */
struct FieldAssignment {
    std::string field;
    std::string value;
};
bool splitAssignment(const std::string& argument, FieldAssignment& out);

/* Puts the value into the record (or partial record) by the kind the
 * dictionary gives the field. Returns 0 or a middleware result code;
 * problem says what was wrong with the value in words. */
int putField(DravoData& record, const FieldAssignment& assignment, std::string& problem);
int putField(DravoPartialData& partial, const FieldAssignment& assignment, std::string& problem);

} // namespace inspector

#endif
