// The path of a quarantined message, as the token %QUARANTINE_PATH% shows it and the quarantine action
// computes it. Two levels of single characters keep each directory small.
#include "quzo/core/quarantine_path.h"

#include <cstddef>
#include <utility>

namespace quzo {
namespace {

constexpr std::size_t kMaxIdentifier = 36;
constexpr std::size_t kMaxPath = 519;

std::string& queue_dir() {
    static std::string dir;
    return dir;
}

} // namespace

std::string quarantinePath(std::string_view queueDir, std::string_view identifier) {
    identifier = identifier.substr(0, kMaxIdentifier);
    std::string path(queueDir);
    path.append("/").append(identifier.substr(0, 1));
    path.append("/").append(identifier.size() > 1 ? identifier.substr(1, 1) : std::string_view());
    path.append("/").append(identifier).append(".DF");
    path.resize(path.size() < kMaxPath ? path.size() : kMaxPath);
    return path;
}

const std::string& quarantineQueueDir() { return queue_dir(); }

void setQuarantineQueueDir(std::string dir) { queue_dir() = std::move(dir); }

} // namespace quzo
