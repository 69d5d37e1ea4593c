// Named objects: policy content that administrators edit once and bind to actions by id.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "quzo/core/rdbms.h"

namespace quzo {

// Base of notification templates, stamps and areas. Not to be confused with actions: the type codes are
// a numbering of their own. Objects are used by one thread at a time.
class QuzoNamedObj {
public:
    enum class NaObjType : std::uint32_t {
        NotifyArea = 1,
        StampArea = 2,
        QuarantineArea = 3,
        ArchiveArea = 4, // defined by the host
    };

    virtual ~QuzoNamedObj() = default;

    // Reads the object's text form: `length` bytes at `setting`, never written to. On false fields read
    // before the fault keep their new values. Logs nothing.
    virtual bool construct(const char* setting, unsigned length) = 0;
    virtual std::string serialize() = 0;
    virtual NaObjType getType() const = 0;

    // A copy. Throws std::bad_alloc.
    virtual std::unique_ptr<QuzoNamedObj> clone() const = 0;

    // The store, provided by the platform. `tenant` separates the organisations that share one store.
    // Nothing throws; false means that the store is unchanged.

    // The objects of one kind, in the store's order; `rows` is replaced.
    static bool getIds(RdbmsInterface& store, unsigned tenant, NaObjType type,
                       std::vector<SummaryNamedObject>& rows);
    // Adds an object and sets `newId`. Names are unique for each tenant and kind.
    static bool add(RdbmsInterface& store, unsigned tenant, const char* name, const char* content,
                    NaObjType type, unsigned& newId);
    static bool modify(RdbmsInterface& store, unsigned tenant, unsigned id, const char* name,
                       const char* content, NaObjType type);
    static bool getContentBlob(RdbmsInterface& store, unsigned id, std::string& name, std::string& content);
    // Returns 0 or an error number.
    static unsigned remove(RdbmsInterface& store, unsigned tenant, unsigned id);

protected:
    QuzoNamedObj() = default;
    QuzoNamedObj(const QuzoNamedObj&) = default;
    QuzoNamedObj& operator=(const QuzoNamedObj&) = default;
};

} // namespace quzo
