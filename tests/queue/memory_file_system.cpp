// See memory_file_system.h.
#include "tests/queue/memory_file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace quzo::platform::test {
namespace {

int fail(int error) {
    errno = error;
    return -1;
}

} // namespace

bool MemoryFileSystem::find(int directory, std::string_view path, Place& out) const {
    std::size_t node = directory == AT_FDCWD ? 0 : open_.at(directory).node;
    out = {node, ""};
    while (true) {
        path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
        if (path.empty()) {
            return true;
        }
        if (!out.name.empty()) {
            const auto next = nodeAt(out);
            if (!next || !disk.nodes[*next].directory) {
                return fail(!next ? ENOENT : ENOTDIR) == 0;
            }
            node = *next;
        }
        const std::string_view name = path.substr(0, path.find('/'));
        out = {node, std::string(name)};
        path.remove_prefix(name.size());
    }
}

std::optional<std::size_t> MemoryFileSystem::nodeAt(const Place& place) const {
    if (place.name.empty()) {
        return place.directory;
    }
    const auto& names = disk.nodes[place.directory].names;
    const auto found = names.find(place.name);
    return found == names.end() ? std::nullopt : std::optional(found->second);
}

void MemoryFileSystem::change(std::size_t directory, const std::string& from, const std::string& to,
                              std::size_t node) {
    announce();
    Disk::Node& place = disk.nodes[directory];
    place.changes.push_back({from, to, node});
    if (!from.empty()) {
        place.names.erase(from);
    }
    if (!to.empty()) {
        place.names[to] = node;
    }
}

std::size_t MemoryFileSystem::make(const Place& place, bool directory) {
    const std::size_t node = disk.nodes.size();
    change(place.directory, "", place.name, node);
    disk.nodes.push_back({.directory = directory, .time = now});
    return node;
}

void MemoryFileSystem::rename(const std::string& directory, const std::string& from, const std::string& to) {
    Place place;
    ASSERT_TRUE(find(AT_FDCWD, directory + "/" + from, place));
    const auto node = nodeAt(place);
    ASSERT_TRUE(node) << from;
    change(place.directory, from, to, *node);
}

int MemoryFileSystem::callOpen(int directory, const char* name, int flags, mode_t /*mode*/) {
    Place place;
    if (!find(directory, name, place)) {
        return -1;
    }
    const auto found = nodeAt(place);
    if (!found && (flags & O_CREAT) == 0) {
        return fail(ENOENT);
    }
    if (found && (flags & O_EXCL) != 0) {
        return fail(EEXIST);
    }
    const std::size_t node = found ? *found : make(place, false);
    if ((flags & O_DIRECTORY) != 0 && !disk.nodes[node].directory) {
        return fail(ENOTDIR);
    }
    if (directory == AT_FDCWD && closed == name) {
        return fail(EACCES);
    }
    open_[next_] = {.node = node};
    return next_++;
}

int MemoryFileSystem::callClose(int descriptor) { return open_.erase(descriptor) == 1 ? 0 : fail(EBADF); }

ssize_t MemoryFileSystem::callWrite(int descriptor, const char* bytes, std::size_t size) {
    announce();
    Open& file = open_.at(descriptor);
    Disk::Node& node = disk.nodes[file.node];
    node.bytes.replace(file.at, size, bytes, size);
    node.time = now;
    file.at += size;
    return static_cast<ssize_t>(size);
}

ssize_t MemoryFileSystem::callRead(int descriptor, char* buffer, std::size_t size) {
    Open& file = open_.at(descriptor);
    const std::size_t count = disk.nodes[file.node].bytes.copy(buffer, size, file.at);
    file.at += count;
    return static_cast<ssize_t>(count);
}

int MemoryFileSystem::callSync(int descriptor) {
    announce();
    const std::size_t synced = open_.at(descriptor).node;
    Disk::Node& node = disk.nodes[synced];
    node.syncedBytes = node.bytes;
    syncNames(synced);
    for (std::size_t place = 0; journal && place < disk.nodes.size(); ++place) {
        const auto& names = disk.nodes[place].names;
        if (!node.directory && std::any_of(names.begin(), names.end(),
                                           [synced](const auto& name) { return name.second == synced; })) {
            syncNames(place);
        }
    }
    return 0;
}

int MemoryFileSystem::callSyncAll(int /*descriptor*/) {
    announce();
    for (std::size_t node = 0; node < disk.nodes.size(); ++node) {
        disk.nodes[node].syncedBytes = disk.nodes[node].bytes;
        syncNames(node);
    }
    return 0;
}

void MemoryFileSystem::syncNames(std::size_t directory) {
    disk.nodes[directory].syncedNames = disk.nodes[directory].names;
    disk.nodes[directory].changes.clear();
}

int MemoryFileSystem::callRename(int directory, const char* from, const char* to, unsigned flags) {
    if (flags != 0 && !exclusiveRename) {
        return fail(EINVAL);
    }
    const std::size_t node = open_.at(directory).node;
    const auto found = nodeAt({node, from});
    if (!found || (flags != 0 && nodeAt({node, to}))) {
        return fail(!found ? ENOENT : EEXIST);
    }
    change(node, from, to, *found);
    return 0;
}

int MemoryFileSystem::callLink(int directory, const char* from, const char* to) {
    const std::size_t node = open_.at(directory).node;
    const auto found = nodeAt({node, from});
    if (!found || nodeAt({node, to})) {
        return fail(!found ? ENOENT : EEXIST);
    }
    change(node, "", to, *found);
    return 0;
}

int MemoryFileSystem::callUnlink(int directory, const char* name) {
    const std::size_t node = open_.at(directory).node;
    const auto found = nodeAt({node, name});
    if (!found) {
        return fail(ENOENT);
    }
    change(node, name, "", *found);
    return 0;
}

int MemoryFileSystem::callMakeDirectory(int directory, const char* name, mode_t /*mode*/) {
    Place place;
    if (!find(directory, name, place)) {
        return -1;
    }
    if (nodeAt(place)) {
        return fail(EEXIST);
    }
    make(place, true);
    return 0;
}

int MemoryFileSystem::statNode(std::size_t node, struct stat* out) const {
    *out = {};
    out->st_ino = node + 1;
    out->st_mode = disk.nodes[node].directory ? S_IFDIR : S_IFREG;
    out->st_size = static_cast<off_t>(disk.nodes[node].bytes.size());
    out->st_mtim.tv_sec = disk.nodes[node].time;
    return 0;
}

int MemoryFileSystem::callStatAt(int directory, const char* name, struct stat* out) {
    const auto found = nodeAt({open_.at(directory).node, name});
    return !found ? fail(ENOENT) : statNode(*found, out);
}

int MemoryFileSystem::callStat(int descriptor, struct stat* out) {
    return statNode(open_.at(descriptor).node, out);
}

// In the order of the names: one that is renamed from behind the last name read to before it is missed.
ssize_t MemoryFileSystem::callList(int directory, void* buffer, std::size_t size) {
    Open& list = open_.at(directory);
    if (list.begun && goingOn) {
        goingOn(list.last);
    }
    list.begun = true;
    const auto& names = disk.nodes[list.node].names;
    std::size_t filled = 0;
    std::size_t count = 0;
    for (auto at = names.upper_bound(list.last); at != names.end() && count < listed; ++at, ++count) {
        dirent64 record{};
        record.d_reclen = sizeof record;
        std::memcpy(record.d_name, at->first.c_str(), at->first.size() + 1);
        if (filled + sizeof record > size) {
            break;
        }
        std::memcpy(static_cast<char*>(buffer) + filled, &record, sizeof record);
        filled += sizeof record;
        list.last = at->first;
    }
    return static_cast<ssize_t>(filled);
}

int MemoryFileSystem::callRewind(int directory) {
    open_.at(directory) = {.node = open_.at(directory).node};
    return 0;
}

int MemoryFileSystem::callLock(int /*descriptor*/) { return 0; }

int MemoryFileSystem::callSetTime(int descriptor, std::int64_t seconds) {
    announce();
    disk.nodes[open_.at(descriptor).node].time = seconds;
    return 0;
}

} // namespace quzo::platform::test
