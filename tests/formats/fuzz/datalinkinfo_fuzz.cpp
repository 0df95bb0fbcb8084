/*
 * datalinkinfo_fuzz.cpp: the libFuzzer entry point for the data link of a
 * display element as stored in a display (its JSON text, read by
 * DataLinkInfo::fromJsonStream), and the names made from what was read.
 * Names are written back unescaped, so a link whose names hold no quote,
 * backslash or control character reads back from its own text unchanged.
 */
#include <MVShared/DataLinkInfo.h>

#include <cstdint>
#include <cstdlib>

namespace {

bool writesBackAsItIs(const QString& name)
{
    for (const QChar c : name)
        if (c == QLatin1Char('"') || c == QLatin1Char('\\') || c.unicode() < 0x20 || c.isSurrogate())
            return false;
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    Morvane::DataLinkInfo link = Morvane::DataLinkInfo::fromJsonStream(text);
    link.isEmpty();
    link.dataCodeName();
    link.absoluteName();
    const QString written = link.toJsonStream();
    if (writesBackAsItIs(link.dataName) && writesBackAsItIs(link.attribute)
        && !(Morvane::DataLinkInfo::fromJsonStream(written) == link))
        std::abort();
    return 0;
}
