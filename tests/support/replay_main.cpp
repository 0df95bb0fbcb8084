/*
 * replay_main.cpp: runs the fuzzer's entry point over files and folders of
 * inputs, as the normal build's regression test of the checked-in corpus.
 * Exits non-zero when no input was found, so an emptied corpus is noticed.
 */
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cstdint>
#include <cstdio>

/* As with libFuzzer, a fuzzer that needs no set-up leaves this out. */
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

int replayFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray bytes = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.constData()), size_t(bytes.size()));
    return 1;
}

int replay(const QString& path)
{
    if (!QFileInfo(path).isDir())
        return replayFile(path);
    int count = 0;
    QDirIterator it(path, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        count += replayFile(it.next());
    return count;
}

} // namespace

int main(int argc, char** argv)
{
    if (LLVMFuzzerInitialize)
        LLVMFuzzerInitialize(&argc, &argv);
    int count = 0;
    for (int i = 1; i < argc; ++i)
        count += replay(QString::fromLocal8Bit(argv[i]));
    std::printf("replayed %d inputs\n", count);
    return count > 0 ? 0 : 1;
}
