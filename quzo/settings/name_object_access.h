// The administration side's gateway to stored named objects and to their bindings.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quzo/settings/named_obj.h"

namespace quzo {

class QuzoActionN;

// One row of a listing.
struct NameObjectSummary {
    std::uint32_t id = 0;
    std::string name;
    std::uint8_t inUse = 0;    // non-zero: a policy refers to the object
    std::uint8_t readOnly = 0; // non-zero: the object cannot be changed from here
};

// Serves one kind of named object. Opens a connection to the store for each call that needs one, and none for
// a call whose arguments are refused. Nothing throws and nothing is logged: the result code is the report.
// Names that begin with "OPP:" are reserved and cannot be stored from here. Content is an object's text form.
class NameObjectAccess {
public:
    enum Result : std::uint32_t {
        kSuccess = 0,
        kMissingArgument = 1004, // name, content or id list missing or empty; an action without bindings
        kReservedName = 1015,
        kNotAdded = 1401,
        kNotModified = 1402,
        kNotListed = 1404,
        kNotRead = 1405,
    };

    explicit NameObjectAccess(QuzoNamedObj::NaObjType type) : type_(type) {}
    virtual ~NameObjectAccess() = default;
    NameObjectAccess(const NameObjectAccess&) = delete;
    NameObjectAccess& operator=(const NameObjectAccess&) = delete;

    // The objects of one tenant, the organisation whose they are, in the store's order. `out` is empty unless
    // the result is 0.
    virtual std::uint32_t getList(unsigned tenant, std::vector<NameObjectSummary>& out);

    // Adds an object to those of `tenant`; `newId` is set when the result is 0.
    virtual std::uint32_t add(unsigned tenant, const char* name, const char* content, unsigned& newId);

    // Here the object's id comes first, then the tenant; the store takes them the other way round.
    virtual std::uint32_t update(unsigned id, unsigned tenant, const char* name, const char* content);

    virtual std::uint32_t get(unsigned id, std::string& name, std::string& content);

    // Returns the store's result as it is.
    virtual std::uint32_t remove(unsigned tenant, unsigned id);

    // Binds the action to the ids, which must all be in the store. The action is handed over as a constant,
    // and its id list is replaced all the same; it reaches the store with the action's own serialize().
    virtual std::uint32_t bind(const QuzoActionN& action, const std::vector<unsigned>& ids);

    // Replaces `ids` by the action's; kMissingArgument, with `ids` untouched, when it has none.
    virtual std::uint32_t getBindings(const QuzoActionN& action, std::vector<unsigned>& ids);

private:
    QuzoNamedObj::NaObjType type_;
};

} // namespace quzo
