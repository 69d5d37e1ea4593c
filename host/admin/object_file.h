// Files of named objects, for version control and for moving objects from one store to another.
//
//   [stamp.legal]
//   description = "Required by law"
//   position = "after"
//   signed = "skip"
//   text = """
//   ...
//   """
//   html = "..."
//
// A table for each object, under its kind and its name, with the fields of objectFields(). What fields cannot
// say, because another program stored it, has its stored text in the place of all of them: stored = "...".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/finding.h"
#include "platform/store/stored_object.h"

namespace quzo::host {

// A larger file is refused.
constexpr std::size_t kMaxObjectFile = std::size_t{64} << 20U; // bytes

// The first lines of a file.
std::string objectFileHead();

// The table of one object, an empty line before it. Depends on kind, name and content alone. `readable` is
// set to whether the content can be read; a file with an object of which it cannot is refused.
std::string objectTable(platform::ObjectKind kind, const std::string& name, const std::string& content,
                        bool& readable);

struct FileObject {
    platform::ObjectKind kind = platform::ObjectKind::NotifyArea;
    std::string name;
    std::string content; // text form
    unsigned line = 0;
};

struct ObjectFile {
    std::vector<FileObject> objects; // in the order of the file
    platform::Findings findings;     // errors, by line; not empty: the objects are of no use
};

// Reads a file. Fields that are not given have the values of a new object. Names are not checked: the store
// does that.
ObjectFile readObjectFile(std::string_view text);

// "stamp 'legal'", safe to show.
std::string shownObject(platform::ObjectKind kind, std::string_view name);

} // namespace quzo::host
