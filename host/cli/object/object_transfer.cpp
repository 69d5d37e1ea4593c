// quzo object export and import: objects as a file of TOML. What an export writes depends on the objects
// alone, so that two exports of the same objects are the same bytes.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "host/admin/object_file.h"
#include "host/base/exit_code.h"
#include "host/cli/console/file_io.h"
#include "host/cli/console/interrupt.h"
#include "host/cli/console/temporary_files.h"
#include "host/cli/object/object_commands.h"
#include "host/cli/object/object_session.h"

namespace quzo::host {
namespace {

using platform::ObjectChange;
using platform::ObjectOutcome;
using platform::StoredObject;

// Writes the file whole or not at all, in the place of the one that bears its name. Of a link its target is
// replaced.
MaybeFault writeFile(std::string path, std::string_view bytes) {
    std::error_code none;
    if (const auto status = std::filesystem::status(path, none); std::filesystem::exists(status)) {
        if (!std::filesystem::is_regular_file(status)) {
            return Fault{kExitCannotCreate, path, "it is no regular file", "name a file"};
        }
        path = std::filesystem::canonical(path, none).string();
    }
    const std::string temporary = path + ".quzo-" + std::to_string(::getpid()) + ".tmp";
    FileDescriptor file = createTemporary(temporary);
    if (!file) {
        return systemFault(kExitCannotCreate, path, "cannot be created", errno);
    }
    int error = writeAll(file.get(), bytes);
    if (error == 0 && ::fsync(file.get()) != 0) {
        error = errno;
    }
    if (const int closing = file.close(); error == 0) {
        error = closing;
    }
    if (error == 0) {
        error = publishTemporary(temporary, path);
    }
    if (error == 0) {
        return std::nullopt;
    }
    removeTemporary(temporary);
    return systemFault(kExitInputOutput, path, "cannot be written", error);
}

// Objects whose text cannot be read are told: an import would refuse the file.
std::string fileText(const std::vector<StoredObject>& objects, Console& console) {
    std::string text = objectFileHead();
    for (const StoredObject& object : objects) {
        bool readable = false;
        text += objectTable(object.kind, object.name, object.content, readable);
        if (!readable) {
            console.err.say({kExitOk, shownObject(object.kind, object.name),
                             "warning: its stored text cannot be read, and an import refuses it",
                             "restore a former revision, or remove it"});
        }
    }
    return text;
}

const char* effectWord(ObjectOutcome::Effect effect) {
    switch (effect) {
        case ObjectOutcome::Effect::Added:
            return "added";
        case ObjectOutcome::Effect::Modified:
            return "changed";
        case ObjectOutcome::Effect::Removed:
            return "removed";
        case ObjectOutcome::Effect::Unchanged:
            break;
    }
    return "unchanged";
}

std::string reportText(const ObjectFile& file, const std::vector<ObjectOutcome>& outcomes, bool dryRun) {
    std::string text;
    std::size_t counts[3] = {};
    for (std::size_t index = 0; index < outcomes.size(); ++index) {
        const FileObject& object = file.objects[index];
        const ObjectOutcome::Effect effect = outcomes[index].effect;
        ++counts[static_cast<std::size_t>(effect)];
        const bool would = dryRun && effect != ObjectOutcome::Effect::Unchanged;
        text += fmt::format("{}{} {}\n", would ? "would be " : "", effectWord(effect),
                            shownObject(object.kind, object.name));
    }
    return text + fmt::format("{}{} added, {} changed, {} unchanged\n", dryRun ? "would be: " : "", counts[0],
                              counts[1], counts[2]);
}

// Says what is wrong with a file; more than this nobody reads.
void sayFindings(const Findings& findings, const std::string& path, Console& console) {
    constexpr std::size_t kMostSaid = 100;
    for (std::size_t index = 0; index < std::min(findings.size(), kMostSaid); ++index) {
        console.err.line("quzo: " + describe(findings[index], path));
    }
    if (findings.size() > kMostSaid) {
        console.err.say({kExitData, path, fmt::format("{} more faults", findings.size() - kMostSaid),
                         "correct these first"});
    }
}

// A change that is refused belongs to a line of the file; anything else to the store.
int sayRefused(ObjectSession& session, const ObjectOptions& options, const ObjectFile& file,
               const platform::StoreFault& fault, std::size_t index) {
    if (fault.remedy() != platform::StoreRemedy::ChangeRequest || index >= file.objects.size()) {
        return session.say(fault);
    }
    return session.say(Fault{kExitData,
                             options.file + ":" + std::to_string(file.objects[index].line) + ": " +
                                 shownObject(file.objects[index].kind, file.objects[index].name),
                             fault.text, "nothing was changed"});
}

} // namespace

int runObjectExport(const ObjectOptions& options, Console& console) {
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    std::vector<StoredObject> objects;
    if (!options.name.empty()) {
        std::optional<StoredObject> object = session.find();
        if (!object) {
            return session.exitCode();
        }
        objects.push_back(*std::move(object));
    } else {
        auto all = session.store().exportObjects(session.tenant(), session.kind());
        if (!all) {
            return session.say(all.fault());
        }
        objects = std::move(*all);
    }
    const std::string text = fileText(objects, console);
    if (options.file.empty() || options.file == "-") {
        console.out.write(text);
        return kExitOk;
    }
    const InterruptWatch interrupt;
    if (const MaybeFault fault = writeFile(options.file, text)) {
        return session.say(*fault);
    }
    return interrupt.signal() != 0 ? kExitBySignal + interrupt.signal() : kExitOk;
}

int runObjectImport(const ObjectOptions& options, Console& console) {
    std::string text;
    if (const MaybeFault fault = readWhole(options.file, kMaxObjectFile, text)) {
        return console.err.say(*fault);
    }
    const ObjectFile file = readObjectFile(text);
    sayFindings(file.findings, options.file, console);
    if (!file.findings.empty()) {
        return kExitData;
    }
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    std::vector<ObjectChange> changes;
    changes.reserve(file.objects.size());
    for (const FileObject& object : file.objects) {
        changes.push_back({ObjectChange::Type::Put, object.kind, 0, {}, object.name, object.content});
    }
    std::size_t failedAt = changes.size();
    const auto outcomes = session.store().apply(session.tenant(), changes, options.dryRun, &failedAt);
    if (!outcomes) {
        return sayRefused(session, options, file, outcomes.fault(), failedAt);
    }
    console.out.write(reportText(file, *outcomes, options.dryRun));
    return kExitOk;
}

} // namespace quzo::host
