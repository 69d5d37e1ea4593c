// The way out: the mail transfer agent's queue and the queue directories.
//
// The platform implements it; one adapter is bound to one message's processing. Every operation
// returns non-zero exactly when it stores a non-zero number in `error`; the number's text comes from
// KVMSGERR::I2A. On failure the message is still where it was. On success what was asked for is
// durable: written and synced, or accepted by a server. No operation takes the message object over,
// none throws, and none waits for another host. Text arguments are never null.
#pragma once

namespace quzo {

class KvMsgMailMessage;

class KvIsAdapter {
public:
    // Room, in bytes with the NUL, of the path buffer of quarantineMessage().
    static constexpr unsigned kPathSize = 520;

    virtual ~KvIsAdapter() = default;

    // Removes the message from the queue: it will not be delivered.
    virtual int deleteMessage(unsigned& error, KvMsgMailMessage* msg) = 0;

    // Sends the message as it now stands to its current envelope recipients. `rescan` true passes
    // it through the scanner again first.
    virtual int sendMessage(unsigned& error, KvMsgMailMessage* msg, bool rescan) = 0;

    // Queues a composed message so that it passes the scanner. `mode` is always 1.
    virtual int submitForScan(unsigned& error, KvMsgMailMessage* msg, int mode) = 0;

    // Delivers a composed message without scanning it.
    virtual int sendComposed(unsigned& error, KvMsgMailMessage* msg) = 0;

    // Holds the message until the local time of day lies between hour:minute and
    // endHour:endMinute. Hours above 23 and minutes above 59 are errors.
    virtual int postponeMessage(unsigned& error, KvMsgMailMessage* msg, unsigned char hour,
                                unsigned char minute, int endHour, int endMinute) = 0;

    // Passes the message to the mail server at host:port instead of delivering it. Ports of 0 and
    // above 65535 are errors.
    virtual int handoffMessage(unsigned& error, KvMsgMailMessage* msg, const char* host, unsigned port) = 0;

    // Stores the message in the quarantine queue below `queueDir`. `name` is always empty. Writes
    // the stored file's path into `pathOut`, a buffer of kPathSize bytes, always NUL-terminated.
    virtual int quarantineMessage(int& error, KvMsgMailMessage* msg, const char* name, const char* queueDir,
                                  char* pathOut) = 0;

    // Stores a copy of the message in the archive queue below `queueDir`. `name` is always empty.
    virtual int archiveMessage(int& error, KvMsgMailMessage* msg, const char* name, const char* queueDir,
                               const char* areaDescription) = 0;
};

} // namespace quzo
