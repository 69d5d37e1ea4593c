// One queue on disk, and files in it as somebody else may have left them.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/queue/queue_support.h"

namespace quzo::platform::test {

class StoreTest : public QueueTest {
protected:
    std::string path(const std::string& name) const { return root_ + "/q/" + name; }

    void write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name), std::ios::binary) << text;
    }

    // Makes a file look as old as `hours` before now.
    void age(const std::string& name, int hours) const {
        std::filesystem::last_write_time(
            path(name), std::filesystem::file_time_type::clock::now() - std::chrono::hours(hours));
    }

    QueueStore store_{"q", root_ + "/q", files_};
};

} // namespace quzo::platform::test
