/*
 * plantfile.h: a plant file from the disk into a JSON document.
 *
 * The checks here are about the file as a file (it exists, is a regular
 * file of sane size, holds JSON text); what the JSON says is checked by the
 * reader (plantreader.cpp).
 */
#ifndef MVPLANT_PLANTFILE_H
#define MVPLANT_PLANTFILE_H

#include <rapidjson/document.h>

#include <string>

namespace MVPlant::detail {

/* Reads the file at path and parses it into doc; throws a PlantError
 * ("cannot open the file: ...", "line 3 column 7: parse error: ...") when it
 * cannot. */
void parsePlantFile(const std::string& path, rapidjson::Document& doc);

} // namespace MVPlant::detail

#endif
