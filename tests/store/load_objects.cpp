// Fills a store with objects, or loads them as a program does at start: for compare_load.
//
//   store_load fill FILE COUNT
//   store_load load FILE COUNT      fails when there are not as many
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/store/object_store.h"
#include "platform/store/stored_named_objects.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/settings/ui_stamp_area.h"

namespace {

using namespace quzo::platform;

int fill(ObjectStore& store, unsigned long count) {
    std::vector<ObjectChange> changes;
    for (unsigned long number = 0; number < count; ++number) {
        quzo::uiStampArea stamp;
        stamp.position = 2;
        stamp.signedTnefMode = 1;
        stamp.description = "Disclaimer of department " + std::to_string(number);
        stamp.stampText =
            "This message from %SENDER% is meant for %RCPTS%.\x03It may hold confidential matter.";
        quzo::uiNotifyArea notify;
        notify.sender = "postmaster@example.com";
        notify.recipients = "admin@example.com;help@example.com";
        notify.subject = "[%RULENAME%] a message was stopped";
        notify.message = "The message \"%SUBJECT%\" of %SENDER% to %RCPTS% was stopped by a rule.";
        const bool odd = number % 2 != 0;
        changes.push_back({ObjectChange::Type::Add,
                           odd ? ObjectKind::StampArea : ObjectKind::NotifyArea,
                           0,
                           {},
                           "object " + std::to_string(number),
                           odd ? stamp.serialize() : notify.serialize()});
    }
    const auto done = store.apply(1, changes, false);
    if (!done) {
        std::fprintf(stderr, "%s\n", done.fault().text.c_str());
    }
    return done ? 0 : 1;
}

int load(ObjectStore& store, unsigned long count) {
    const auto objects = StoredNamedObjects::load(store, 1);
    if (!objects) {
        std::fprintf(stderr, "%s\n", objects.fault().text.c_str());
        return 1;
    }
    return (*objects)->size() == count ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: store_load fill|load FILE COUNT\n");
        return 64;
    }
    auto store = ObjectStore::open({"sqlite3://" + std::string(argv[2]), "store_load", 5});
    if (!store) {
        std::fprintf(stderr, "%s\n", store.fault().text.c_str());
        return 1;
    }
    const unsigned long count = std::strtoul(argv[3], nullptr, 10);
    return std::string(argv[1]) == "fill" ? fill(*store, count) : load(*store, count);
}
