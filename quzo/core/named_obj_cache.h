// The scanner's cache of named objects.
#pragma once

namespace quzo {

class QuzoNamedObj;

// Notification templates, stamps and areas by id, as they were in the store at one moment, for one message:
// an action may change an object, and the later actions on that message, but no others, see the change.
class NamedObjMgrForScanner {
public:
    virtual ~NamedObjMgrForScanner() = default;

    // The object with this id, owned by the cache; null when there is none, or when memory runs out. Every
    // call gives the same object.
    virtual QuzoNamedObj* find(unsigned id) const = 0;
};

} // namespace quzo
