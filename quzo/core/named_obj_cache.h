// The scanner's cache of named objects.
#pragma once

namespace quzo {

class QuzoNamedObj;

// Notification templates, stamps and areas by id: one consistent snapshot, immutable while in use
// and readable from several threads at once. An action that has to change an object works on a copy
// of its own.
class NamedObjMgrForScanner {
public:
    virtual ~NamedObjMgrForScanner() = default;

    // The object with this id, owned by the cache; null when there is none.
    virtual const QuzoNamedObj* find(unsigned id) const = 0;
};

} // namespace quzo
