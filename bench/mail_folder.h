// The messages that are measured: every regular file of a folder, in memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace quzo::bench {

// In the order of their names; empty when there is no such folder.
inline std::vector<std::filesystem::path> messagePaths(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> paths;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
        if (entry.is_regular_file()) {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

// In the same order.
inline std::vector<std::string> readMessages(const std::filesystem::path& folder) {
    std::vector<std::string> messages;
    for (const auto& path : messagePaths(folder)) {
        std::ifstream file(path, std::ios::binary);
        messages.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return messages;
}

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace quzo::bench
