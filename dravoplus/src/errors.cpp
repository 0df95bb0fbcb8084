/*
 * errors.cpp: the text of every result code the middleware returns.
 */
#include <DravoPlus/DravoPlus.h>

namespace {

struct ErrorText {
    int code;
    const char16_t* text;
};

const ErrorText kErrors[] = {
    {DRAVO_OK, u"Success"},
    {DRAVO_TIMEOUT, u"Nothing arrived within the wait"},
    {DRAVO_NOT_FOUND, u"No such record, event box or type"},
    {DRAVO_NOT_CONNECTED, u"Not connected to the runtime server"},
    {DRAVO_UNKNOWN_FIELD, u"The record type has no such field"},
    {DRAVO_WRONG_KIND, u"The value does not fit the field's kind"},
    {DRAVO_OUT_OF_RANGE, u"The value or its length does not fit the field"},
    {DRAVO_UNKNOWN_TYPE, u"The data dictionary has no such record type"},
    {DRAVO_BAD_ARGUMENT, u"Bad argument"},
    {DRAVO_SERVER_ERROR, u"The runtime server failed the request"},
    {DRAVO_HEARTBEAT_HELD, u"Another live task holds the heartbeat entry"},
    {DRAVO_BAD_HANDLE, u"Unknown, released or expired packet handle"},
    {DRAVO_DICTIONARY_ERROR, u"The data dictionary is missing or damaged"},
    {DRAVO_CONFIG_ERROR, u"Bad server address, settings or configuration file"},
    {DRAVO_AUTH_FAILED, u"The runtime server refused the user or password"},
    {DRAVO_UNREACHABLE, u"The runtime server did not answer"},
    {DRAVO_MALFORMED, u"Damaged record data"},
    {DRAVO_READ_ONLY, u"The runtime server is a standby and takes no writes"},
    {DRAVO_NO_RECEIVER, u"No receiver serves the target (driver not running)"},
    {DRAVO_TARGET_TAKEN, u"Another receiver already serves the target"},
    {DRAVO_NOT_PERMITTED, u"The runtime server user's role does not allow this request"},
};

} // namespace

const char16_t* DravoPlus::GetErrorString(int code)
{
    for (const ErrorText& e : kErrors)
        if (e.code == code)
            return e.text;
    return u"Unknown middleware error";
}
