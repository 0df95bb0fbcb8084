// plantfolder.cpp: the plant tests' temporary folder (plantfolder.h).
#include "plantfolder.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <unistd.h>

namespace fs = std::filesystem;

namespace planttest {

namespace {

fs::path makeFolder()
{
    std::random_device random;
    const fs::path folder = fs::temp_directory_path()
                          / ("plant_test-" + std::to_string(::getpid()) + "-" + std::to_string(random()));
    fs::create_directories(folder);
    ::setenv("DRAVO_SETTINGS", (folder / "servers.conf").c_str(), 1);
    ::unsetenv("DRAVO_SERVERS");
    std::atexit([] {
        std::error_code ec;
        fs::remove_all(plantFolder(), ec);
    });
    return folder;
}

} // namespace

const fs::path& plantFolder()
{
    static const fs::path folder = makeFolder();
    return folder;
}

std::string writePlant(const std::string& name, const std::string& content)
{
    const fs::path path = plantFolder() / name;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    return path.string();
}

} // namespace planttest
