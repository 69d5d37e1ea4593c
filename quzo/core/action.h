// The action interface: what a scanner drives and the administration side edits.
//
// A scanner makes one action object for each action of a rule, gives it its stored settings through
// construct() and calls takeAction() once for a message. The administration side uses the same
// interface to turn settings back into text.
//
// The order of the virtual operations is part of the interface: callers go through the table.
// No operation throws. Objects are used by one thread at a time; different objects, also of one
// class, may be used by several threads at once.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quzo/core/token_map.h"

namespace quzo {

class KvIsAdapter;
class KvMsgMailMessage;
class NamedObjMgrForScanner;

class QuzoAction {
public:
    // Stored with rules, so the numbers never change. 6, 13, 14, 15, 17 and 19 belong to actions
    // that live elsewhere and stay unused.
    enum class ActionType : std::uint32_t {
        Archive = 0,
        Delete = 1,
        Quarantine = 2,
        Readdress = 3,
        DeleteAttachment = 4,
        VirusClean = 5,
        TagSubject = 7,
        Stamp = 8,
        Bcc = 9,
        Notify = 10,
        Handoff = 11,
        Postpone = 12,
        Ferrowick = 16,
        InsertXHeaderTag = 18,
        IBEDecrypt = 20,
        IBEEncrypt = 21,
        IBEReEncrypt = 22,
    };

    virtual ~QuzoAction() = default;

    // Parses the stored setting text: `length` bytes at `setting`, which need no NUL after them and
    // are never written to. Returns true when the object is usable. After false only destruction,
    // or another construct(), is allowed; fields may hold part of the new values.
    virtual bool construct(const char* setting, unsigned length) = 0;

    // The setting text; construct() of the same class accepts it. Empty on failure.
    virtual std::string serialize() = 0;

    virtual ActionType getType() const = 0;

    // True when takeAction() needs the message as received as its second argument.
    virtual bool requiresOriginalMsg() = 0;

    // Lets the action publish values before any action of its rule runs. Does nothing by default.
    virtual void fillInTokenMap(TokenMap<ScanToken>& tokens, const NamedObjMgrForScanner& namedObjects);

    // Carries the action out. Returns true when it was done; false when it failed (then a level-1
    // line says why) or when the class does not act.
    //
    //   msg           the message as it will be delivered; owned by the caller, changed in place;
    //                 may be null, which no action takes for a success that needs a message
    //   originalMsg   the message as received; may be null unless requiresOriginalMsg()
    //   msgConsumed   set to true when the action took the message out of normal delivery, set to
    //                 false or left alone by all others. The message is gone only when the result
    //                 is true as well; with a false result it is still the caller's to deliver.
    //   tokens        this message's values; owned by the caller, read and extended
    //   adapter       the way to the mail transfer agent and the queues
    //   namedObjects  templates, stamps and areas by id
    virtual bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                            TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                            const NamedObjMgrForScanner& namedObjects) = 0;

    // True for classes whose settings are a list of named-object ids.
    virtual bool hasNamedObjects();

    // Appends to `ids` the named-object ids that a setting text of this class refers to. The first
    // form hands the whole string, embedded NULs included, to the second. The second reads at most
    // `length` bytes; on false `ids` may hold the ids read so far. The base answers false and
    // touches nothing; classes without named objects answer true and touch nothing.
    virtual bool getNamedObjectIds(const std::string& setting, std::vector<unsigned>& ids);
    virtual bool getNamedObjectIds(const char* setting, int length, std::vector<unsigned>& ids);

    // Provided by the platform. The display name of an action type, in the installation's language;
    // never null, static storage. An unknown type gives a text that says so.
    static const char* getActionName(ActionType type);

    // Provided by the platform. Turns a raw list of actions (type codes joined by ';') into readable
    // text. Null and empty give an empty text and true; entries that are no known code give false
    // and are left out of `out`.
    static bool CreateActionTokenString(const char* actionList, std::string& out);

protected:
    QuzoAction() = default;
    QuzoAction(const QuzoAction&) = default;
    QuzoAction& operator=(const QuzoAction&) = default;
};

// A place for other components to offer texts with replaceable parts. No class of this library
// implements it; what the slots mean is settled between those components.
class Replaceable {
public:
    virtual ~Replaceable() = default;
    virtual void replaceableSlot1() = 0;
    virtual void replaceableSlot2() = 0;
    virtual void replaceableSlot3() = 0;
    virtual void replaceableSlot4() = 0;

protected:
    Replaceable() = default;
    Replaceable(const Replaceable&) = default;
    Replaceable& operator=(const Replaceable&) = default;
};

} // namespace quzo
