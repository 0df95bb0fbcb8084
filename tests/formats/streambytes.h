/*
 * streambytes.h: building and reading byte streams in the tests of the
 * formats, with the QDataStream version and byte order each test chooses.
 */
#ifndef MVSHARED_TESTS_FORMATS_STREAMBYTES_H
#define MVSHARED_TESTS_FORMATS_STREAMBYTES_H

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>

#include <utility>

/* The stream configurations the layouts are checked under. */
struct StreamSetup {
    int version;
    QDataStream::ByteOrder byteOrder;
};

inline void configure(QDataStream& stream, const StreamSetup& setup)
{
    stream.setVersion(setup.version);
    stream.setByteOrder(setup.byteOrder);
}

/* The bytes written by write(stream) on a fresh stream. */
template <typename Write>
QByteArray bytesOf(const StreamSetup& setup, Write&& write)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    configure(stream, setup);
    write(stream);
    return bytes;
}

/* Reads bytes with read(stream) and returns the stream's final status. */
template <typename Read>
QDataStream::Status readBytes(const QByteArray& bytes, const StreamSetup& setup, Read&& read)
{
    QDataStream stream(bytes);
    configure(stream, setup);
    read(stream);
    return stream.status();
}

inline StreamSetup defaultSetup()
{
    return { QDataStream::Qt_5_15, QDataStream::BigEndian };
}

#endif
