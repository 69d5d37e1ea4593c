// Every option of `quzo object` and its help text. The options for fields come from the table of fields, so a
// field has one name everywhere.
#include "host/cli/object/object_command_line.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <set>
#include <string>

#include "host/admin/object_field.h"
#include "host/cli/files/file_options.h"
#include "host/cli/object/object_commands.h"

namespace quzo::host {
namespace {

using Options = std::shared_ptr<ObjectOptions>;
using Run = int (*)(const ObjectOptions&, Console&);
using Chosen = std::function<int(Console&)>;
using platform::ObjectKind;

constexpr const char* kFooter =
    R"(KIND is notify, stamp, quarantine or archive. The store is named by store in [platform] of the settings and
made at its first use; a tenant's objects are its own.

Exit codes: 0 done, 64 wrong usage, 65 a value, file or change that is refused, 66 no such object or file,
73 an output cannot be created, 74 reading or writing failed, 75 the store cannot be reached now: try again,
78 wrong settings or policy.)";

constexpr const char* kFieldFooter =
    R"(A value that begins with '-' is given as --text=VALUE. Text files are in UTF-8; their lines end with LF or CRLF,
each of which makes a line break in a stamp.

)";

// A command on the store as a whole.
CLI::App* addOnStore(CLI::App& object, Chosen& chosen, const Options& options, const char* name,
                     const char* help, Run run) {
    CLI::App* command = object.add_subcommand(name, help);
    command->footer(kFooter);
    addConfigOption(*command, options->iniFile);
    command->callback([options, command, &chosen, run] {
        useStandardFiles(*command, options->iniFile, options->policyFile);
        chosen = [options, run](Console& console) { return run(*options, console); };
    });
    return command;
}

// A command on the objects of a tenant.
CLI::App* addOne(CLI::App& object, Chosen& chosen, const Options& options, const char* name, const char* help,
                 Run run) {
    CLI::App* command = addOnStore(object, chosen, options, name, help, run);
    command->add_option("--tenant", options->tenant, "Whose objects (default: tenant in [platform])")
        ->type_name("N");
    return command;
}

void addKindAndName(CLI::App& command, const Options& options, bool required) {
    command.add_option("KIND", options->kind, "Kind of object")->type_name("")->required(required);
    command.add_option("NAME", options->name, "Name of the object")->type_name("")->required(required);
}

void addRevision(CLI::App& command, const Options& options, const char* help) {
    command.add_option("--revision", options->revision, help)->type_name("N");
}

void addPolicy(CLI::App& command, const Options& options, const char* help) {
    addPolicyOption(command, options->policyFile, help);
}

const char* groupOf(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::NotifyArea:
            return "Fields of notify objects";
        case ObjectKind::StampArea:
            return "Fields of stamps";
        default:
            return "Fields of quarantine and archive areas";
    }
}

void addFlag(CLI::App& command, const Options& options, const ObjectField& field, const char* group) {
    const std::string name = field.name;
    command
        .add_flag_function(
            "--" + name + ",!--no-" + name,
            [options, name](std::int64_t count) {
                options->fields.push_back({name, count > 0 ? "true" : "false"});
            },
            field.help)
        ->group(group);
}

// Recipients may be named one by one.
void addRecipients(CLI::App& command, const Options& options, const ObjectField& field, const char* group) {
    command
        .add_option_function<std::vector<std::string>>(
            "--to",
            [options](const std::vector<std::string>& all) {
                std::string list;
                for (const std::string& one : all) {
                    list += (list.empty() ? "" : ";") + one;
                }
                options->fields.push_back({"to", list});
            },
            std::string(field.help) + "; repeatable")
        ->allow_extra_args(false)
        ->type_name("ADDRESS")
        ->group(group);
}

CLI::Option* addValue(CLI::App& command, const Options& options, const ObjectField& field, bool isFile,
                      const char* group) {
    const std::string name = field.name;
    const std::string option = "--" + name + (isFile ? "-file" : "");
    std::string help = isFile ? "The same from a file, '-' for standard input" : field.help;
    std::string type = isFile ? "FILE" : field.type == ObjectField::Type::Number ? "N" : "TEXT";
    if (!field.words.empty()) {
        type.clear();
        for (const std::string_view word : field.words) {
            type += (type.empty() ? "" : "|") + std::string(word);
        }
    }
    return command
        .add_option_function<std::string>(
            option,
            [options, name, isFile](const std::string& value) {
                options->fields.push_back({name, value, isFile});
            },
            help)
        ->type_name(type)
        ->group(group);
}

void addFields(CLI::App& command, const Options& options) {
    std::set<std::string> added;
    const auto add = [&](const ObjectField& field, const char* group) {
        if (!added.insert(field.name).second) {
            return; // a field that several kinds have
        }
        if (field.type == ObjectField::Type::Flag) {
            addFlag(command, options, field, group);
        } else if (field.name == std::string("to")) {
            addRecipients(command, options, field, group);
        } else {
            CLI::Option* value = addValue(command, options, field, false, group);
            if (field.type == ObjectField::Type::Text) {
                addValue(command, options, field, true, group)->excludes(value);
            }
        }
    };
    add(*findObjectField(ObjectKind::QuarantineArea, "description"), "Fields of all kinds");
    for (const ObjectKind kind :
         {ObjectKind::StampArea, ObjectKind::NotifyArea, ObjectKind::QuarantineArea}) {
        for (const ObjectField& field : objectFields(kind)) {
            add(field, groupOf(kind));
        }
    }
    command.footer(std::string(kFieldFooter) + kFooter);
}

void addLooking(CLI::App& object, Chosen& chosen, const Options& options) {
    CLI::App* list = addOne(object, chosen, options, "list", "List objects.", runObjectList);
    list->add_option("KIND", options->kind, "Of this kind only")->type_name("");
    list->add_flag("--json", options->json, "One JSON object an object");

    CLI::App* show = addOne(object, chosen, options, "show", "Show the fields of an object.", runObjectShow);
    addKindAndName(*show, options, true);
    addRevision(*show, options, "As it was in this revision");
    CLI::Option* json = show->add_flag("--json", options->json, "As a JSON object; a line for each revision");
    CLI::Option* raw = show->add_flag("--raw", options->raw, "The stored text and nothing else");
    CLI::Option* history = show->add_flag(
        "--history", options->history, "Every revision with its time and author, also of a removed object");
    raw->excludes(json)->excludes(history);

    CLI::App* preview = addOne(object, chosen, options, "preview",
                               "Show an object with the tokens of a message.", runObjectPreview);
    addKindAndName(*preview, options, true);
    preview->add_option("MESSAGE", options->message, "A message file, '-' for standard input")
        ->type_name("")
        ->required();
    addPolicy(*preview, options,
              "Fill in the tokens of its first rule that refers to the object and acts on the message");
    preview->add_option("--from", options->from, "Envelope sender; '' is the null sender")
        ->type_name("ADDRESS");
    preview->add_option("--to", options->to, "Envelope recipient, repeatable")
        ->type_name("ADDRESS")
        ->allow_extra_args(false);
    preview->add_option("--token", options->tokens, "A token's name or code, and its value; repeatable")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
}

void addChanging(CLI::App& object, Chosen& chosen, const Options& options) {
    constexpr const char* kExpected = "Refuse when it is no longer at this revision";
    CLI::App* add = addOne(object, chosen, options, "add", "Add an object.", runObjectAdd);
    addKindAndName(*add, options, true);
    addFields(*add, options);

    CLI::App* update = addOne(object, chosen, options, "update",
                              "Change fields of an object; the others stay.", runObjectUpdate);
    addKindAndName(*update, options, true);
    addRevision(*update, options, kExpected);
    addFields(*update, options);

    CLI::App* remove = addOne(object, chosen, options, "remove", "Remove an object that no policy refers to.",
                              runObjectRemove);
    addKindAndName(*remove, options, true);
    addRevision(*remove, options, kExpected);
    addPolicy(*remove, options, "A policy that must not refer to it; those that were applied are known");

    CLI::App* restore =
        addOne(object, chosen, options, "restore",
               "Bring a former revision back as the newest one, also of a removed object.", runObjectRestore);
    addKindAndName(*restore, options, true);
    addRevision(*restore, options, "The revision; of a removed object it may be left out: the last one");
}

void addFiles(CLI::App& object, Chosen& chosen, const Options& options) {
    addOnStore(object, chosen, options, "upgrade",
               "Bring the store to the format of this program, with a copy of it as it was.",
               runObjectUpgrade);

    CLI::App* write = addOne(object, chosen, options, "export", "Write objects as TOML.", runObjectExport);
    addKindAndName(*write, options, false);
    write
        ->add_option("-o,--output", options->file,
                     "Write to this file, in the place of one of that name (default: standard output)")
        ->type_name("FILE");

    CLI::App* read = addOne(object, chosen, options, "import",
                            "Read objects from TOML: all of them or, with any fault, none.", runObjectImport);
    read->add_option("FILE", options->file, "The file, '-' for standard input")->type_name("")->required();
    read->add_flag("--dry-run", options->dryRun, "Say what would change, and change nothing");
}

} // namespace

void addObjectCommand(CLI::App& app, Chosen& chosen) {
    CLI::App* object =
        app.add_subcommand("object", "Look after named objects: notifications, stamps, areas.");
    object->require_subcommand(1);
    const auto options = std::make_shared<ObjectOptions>();
    addLooking(*object, chosen, options);
    addChanging(*object, chosen, options);
    addFiles(*object, chosen, options);
}

} // namespace quzo::host
