/*
 * settings.cpp: the server-address setting.
 *
 * The two addresses of each named setting live in a small text file,
 * "<setting>.server1=<address>" per line, so that an operator station keeps
 * them across restarts. $DRAVO_SERVERS (comma separated) overrides the
 * default setting for one process, which is how tests and CI choose their
 * backend; updateServerSetting writes the file and becomes the process's
 * setting too, so the next ConnectMid uses what the operator just entered.
 * The file is its owner's alone, and MaskedAddress gives the form of an
 * address that tools print, since addresses may carry passwords.
 */
#include "clientstate.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* kDefaultSetting = "default";

struct SettingsState {
    std::mutex mutex;
    bool initialised = false;
    /* Settings this process uses instead of the file's. */
    std::map<std::string, std::vector<std::string>> overrides;
};

SettingsState& state()
{
    static SettingsState* s = new SettingsState; // used by threads until exit
    return *s;
}

std::string trim(const std::string& s)
{
    const auto first = s.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return "";
    return s.substr(first, s.find_last_not_of(" \t\r\n") - first + 1);
}

std::vector<std::string> nonEmpty(const std::vector<std::string>& addresses)
{
    std::vector<std::string> out;
    for (const std::string& a : addresses)
        if (!trim(a).empty())
            out.push_back(trim(a));
    return out;
}

std::string settingName(const char* name)
{
    return name && *name ? name : kDefaultSetting;
}

void initialise(SettingsState& s)
{
    if (s.initialised)
        return;
    s.initialised = true;
    if (const char* env = std::getenv("DRAVO_SERVERS"))
        s.overrides[kDefaultSetting] = DravoPlus::SplitServerList(env);
}

/* Every line of the file, in order; missing file: none. */
std::vector<std::string> readLines(const std::string& path)
{
    std::vector<std::string> lines;
    std::ifstream in(path);
    std::string line;
    while (in && std::getline(in, line))
        lines.push_back(line);
    return lines;
}

std::vector<std::string> fileAddresses(const std::string& setting)
{
    std::vector<std::string> addresses(2);
    for (const std::string& raw : readLines(DravoPlus::SettingsFilePath())) {
        const std::string line = trim(raw);
        const auto eq = line.find('=');
        if (line.empty() || line[0] == '#' || eq == std::string::npos)
            continue;
        const std::string key = trim(line.substr(0, eq));
        if (key == setting + ".server1")
            addresses[0] = trim(line.substr(eq + 1));
        else if (key == setting + ".server2")
            addresses[1] = trim(line.substr(eq + 1));
    }
    return nonEmpty(addresses);
}

/* Writes content to path readable by its owner alone: the addresses may carry
 * passwords. The mode is set on the open file as well, since a file left
 * over from an earlier write keeps the mode it had. */
bool writePrivate(const std::string& path, const std::string& content)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0)
        return false;
    bool ok = ::fchmod(fd, S_IRUSR | S_IWUSR) == 0;
    for (std::size_t done = 0; ok && done < content.size();) {
        const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
        ok = n > 0;
        done += ok ? static_cast<std::size_t>(n) : 0;
    }
    return ::close(fd) == 0 && ok;
}

/* Rewrites the file with the setting's two lines replaced, other lines kept.
 * The new file replaces the old one whole, so an old world-readable file is
 * tightened by the same write. */
bool writeFile(const std::string& setting, const std::string& first, const std::string& second)
{
    const std::string path = DravoPlus::SettingsFilePath();
    std::vector<std::string> kept;
    for (const std::string& line : readLines(path)) {
        const std::string key = trim(line.substr(0, line.find('=')));
        if (key != setting + ".server1" && key != setting + ".server2")
            kept.push_back(line);
    }
    std::error_code ec;
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (!parent.empty())
        std::filesystem::create_directories(parent, ec);
    std::string content;
    for (const std::string& line : kept)
        content += line + '\n';
    content += setting + ".server1=" + first + '\n' + setting + ".server2=" + second + '\n';
    const std::string temp = path + ".new";
    if (!writePrivate(temp, content))
        return false;
    std::filesystem::rename(temp, path, ec);
    return !ec;
}

} // namespace

std::vector<std::string> dravo::serverAddresses(const char* name)
{
    const std::string setting = settingName(name);
    {
        SettingsState& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        initialise(s);
        auto it = s.overrides.find(setting);
        if (it != s.overrides.end())
            return it->second;
    }
    return fileAddresses(setting);
}

bool dravo::isEmbeddedSetting(const std::vector<std::string>& addresses)
{
    return addresses.empty() || addresses.front() == "embedded";
}

std::string DravoPlus::SettingsFilePath()
{
    if (const char* env = std::getenv("DRAVO_SETTINGS"); env && *env)
        return env;
    std::string base;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg)
        base = xdg;
    else if (const char* home = std::getenv("HOME"); home && *home)
        base = std::string(home) + "/.config";
    else
        base = ".";
    return base + "/dravoplus/servers.conf";
}

int DravoPlus::GetServerAddress(const char* name, ObjectNames& result)
{
    const std::vector<std::string> addresses = dravo::serverAddresses(name);
    result.count = static_cast<int>(addresses.size());
    result.names = addresses.empty() ? nullptr : new char*[addresses.size()];
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        result.names[i] = new char[addresses[i].size() + 1];
        std::memcpy(result.names[i], addresses[i].c_str(), addresses[i].size() + 1);
    }
    return DRAVO_OK;
}

void DravoPlus::DeatoryNameSeq(ObjectNames& names)
{
    for (int i = 0; i < names.count && names.names; ++i)
        delete[] names.names[i];
    delete[] names.names;
    names.names = nullptr;
    names.count = 0;
}

int DravoPlus::updateServerSetting(const char* name, const char* address1, const char* address2)
{
    const std::string setting = settingName(name);
    const std::string first = trim(address1 ? address1 : "");
    const std::string second = trim(address2 ? address2 : "");
    if (first.find('\n') != std::string::npos || second.find('\n') != std::string::npos)
        return DRAVO_BAD_ARGUMENT;
    SettingsState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    initialise(s);
    if (!writeFile(setting, first, second))
        return DRAVO_CONFIG_ERROR;
    s.overrides[setting] = nonEmpty({first, second});
    return DRAVO_OK;
}

std::vector<std::string> DravoPlus::SplitServerList(const char* list)
{
    const auto starts = [](const std::string& text, const char* scheme) { return trim(text).rfind(scheme, 0) == 0; };
    const auto startsAnAddress = [&starts](const std::string& text) {
        return starts(text, "embedded") || starts(text, "redis://") || starts(text, "redis-sentinel://");
    };
    std::vector<std::string> parts;
    std::stringstream in(list ? list : "");
    std::string item;
    while (std::getline(in, item, ',')) {
        if (!parts.empty() && starts(parts.back(), "redis-sentinel://") && !startsAnAddress(item))
            parts.back() += "," + item;
        else
            parts.push_back(item);
    }
    return nonEmpty(parts);
}

std::string DravoPlus::MaskedAddress(const char* address)
{
    std::string text = address ? address : "";
    const auto scheme = text.find("://");
    const std::size_t start = scheme == std::string::npos ? 0 : scheme + 3;
    /* The last '@' ends the credentials, as when the address is parsed: a
     * password may hold '@' itself. */
    const auto at = text.rfind('@');
    if (at == std::string::npos || at < start)
        return text;
    const auto colon = text.find(':', start);
    const std::size_t passwordStart = colon != std::string::npos && colon < at ? colon + 1 : start;
    return text.replace(passwordStart, at - passwordStart, "***");
}
