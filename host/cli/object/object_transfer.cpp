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

#include "host/admin/object_admin.h"
#include "host/admin/object_file.h"
#include "host/base/exit_code.h"
#include "host/cli/console/file_io.h"
#include "host/cli/console/interrupt.h"
#include "host/cli/console/temporary_files.h"
#include "host/cli/files/whole_file.h"
#include "host/cli/object/object_commands.h"
#include "host/cli/object/object_session.h"

namespace quzo::host {
namespace {

using platform::ObjectOutcome;

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
    TemporaryFile file(path + ".quzo-" + std::to_string(::getpid()) + ".tmp");
    if (file.error() != 0) {
        return systemFault(kExitCannotCreate, path, "cannot be created", file.error());
    }
    int error = writeAll(file.descriptor(), bytes);
    error = error != 0 ? error : file.publish(path, true);
    if (error == 0) {
        return std::nullopt;
    }
    return systemFault(kExitInputOutput, path, "cannot be written", error);
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

std::string reportText(const ObjectFile& file, const std::vector<ObjectOutcome::Effect>& effects,
                       bool dryRun) {
    std::string text;
    std::size_t counts[3] = {};
    for (std::size_t index = 0; index < effects.size(); ++index) {
        const FileObject& object = file.objects[index];
        const ObjectOutcome::Effect effect = effects[index];
        ++counts[static_cast<std::size_t>(effect)];
        const bool would = dryRun && effect != ObjectOutcome::Effect::Unchanged;
        text += fmt::format("{}{} {}\n", would ? "would be " : "", effectWord(effect),
                            shownObject(object.kind, object.name));
    }
    return text + fmt::format("{}{} added, {} changed, {} unchanged\n", dryRun ? "would be: " : "", counts[0],
                              counts[1], counts[2]);
}

// Says what is wrong with a file; more than this nobody reads.
void sayFindings(const platform::Findings& findings, const std::string& path, Console& console) {
    constexpr std::size_t kMostSaid = 100;
    for (std::size_t index = 0; index < std::min(findings.size(), kMostSaid); ++index) {
        console.err.line("quzo: " + describe(findings[index], path));
    }
    if (findings.size() > kMostSaid) {
        console.err.say({kExitData, path, fmt::format("{} more faults", findings.size() - kMostSaid),
                         "correct these first"});
    }
}

} // namespace

int runObjectExport(const ObjectOptions& options, Console& console) {
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    const Result<ObjectExport> exported = session.admin().exportText(
        session.kind(), options.name.empty() ? std::nullopt : std::optional(options.name));
    if (!exported) {
        return session.say(exported.fault());
    }
    console.err.say(exported->warnings);
    if (options.file.empty() || options.file == "-") {
        console.out.write(exported->text);
        return kExitOk;
    }
    const InterruptWatch interrupt;
    if (const MaybeFault fault = writeFile(options.file, exported->text)) {
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
    const Result<ObjectImport> imported = session.admin().import(file, options.file, options.dryRun);
    if (!imported) {
        return session.say(imported.fault());
    }
    console.err.say(imported->warnings);
    console.out.write(reportText(file, imported->effects, options.dryRun));
    return kExitOk;
}

} // namespace quzo::host
