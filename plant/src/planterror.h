/*
 * planterror.h: how the plant library's steps give up.
 *
 * Reading, checking and building the records are written as straight code
 * that throws a PlantError at the first problem; the public calls catch it
 * at their boundary (runGuarded) and return a result code and a message
 * that begins with the file's path. Nothing is thrown past the library.
 */
#ifndef MVPLANT_PLANTERROR_H
#define MVPLANT_PLANTERROR_H

#include <DravoPlus/DravoPlus.h>

#include <functional>
#include <string>

namespace MVPlant::detail {

/* A reason the plant cannot be read or loaded. */
struct PlantError {
    int code;
    std::string text;   /* everything after "<path>: " */
};

[[noreturn]] void fail(const std::string& text, int code = DRAVO_CONFIG_ERROR);

/* The middleware's own text of a result code, in UTF-8, with the code:
 * "... (code 2001)". */
std::string resultText(int code);

std::string inQuotes(const std::string& s);

/* Runs step on the file, turning a PlantError (or any other exception) into
 * its result code and "<where>: <text>" in error; where is path, "(empty
 * path)" or "(no path)". A null path gives DRAVO_BAD_ARGUMENT. error is
 * cleared first. */
int runGuarded(const char* path, std::string* error, const std::function<void(const std::string&)>& step);

/* The same for a step that concerns no file: error gets the text alone. */
int runGuarded(std::string* error, const std::function<void()>& step);

} // namespace MVPlant::detail

#endif
