// plantfolder.h: where the plant tests write their plant files.
//
// One temporary folder per test process, made on first use and removed when
// the process exits. Making it also points the process at the embedded
// server with a settings file of its own, whatever the developer's own
// settings say, so call plantFolder() before the first middleware call.
#ifndef TESTS_PLANT_PLANTFOLDER_H
#define TESTS_PLANT_PLANTFOLDER_H

#include <filesystem>
#include <string>

namespace planttest {

const std::filesystem::path& plantFolder();
// Writes a plant file into the folder and returns its path.
std::string writePlant(const std::string& name, const std::string& content);

} // namespace planttest

#endif
