/*
 * waitingrecord.h: a record as a box keeps it until it is taken.
 *
 * A text point's record is some 15 KB, of which a change uses a few dozen
 * bytes and the rest is zeros. A box that holds the backlog of a plant's
 * burst would keep tens of thousands of them, hundreds of megabytes in the
 * process that hosts the server. A large record whose value ends in a long
 * run of zeros therefore waits without that run and is made whole again
 * when it is taken; any other record waits as it is, sharing its contents
 * with the sender's copy.
 */
#ifndef DRAVOPLUS_WAITINGRECORD_H
#define DRAVOPLUS_WAITINGRECORD_H

#include <DravoPlus/DravoData.h>

#include "largeblocks.h"

#include <cstddef>
#include <memory>
#include <string>

namespace dravo {

class WaitingRecord
{
public:
    explicit WaitingRecord(const DravoData& record);

    /* The record as it was sent, equal to it byte for byte; taking it
     * leaves this one empty. */
    DravoData take();
    /* Its type name, without making it whole. */
    const char* typeName() const;

    /* Whether the record waits without its zero tail. */
    bool isTrimmed() const { return m_trimmed != nullptr; }

private:
    /* What a trimmed record keeps: its type and name, and its raw value up
     * to the last byte that is not zero. */
    struct Trimmed {
        std::string typeName;
        std::string dataName;
        std::string rawHead;
    };

    DravoData m_whole;                        /* when kept as it is */
    std::shared_ptr<const Trimmed> m_trimmed; /* when kept without its tail */
};

} // namespace dravo

#endif
