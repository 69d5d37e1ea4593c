// How a command at the shell speaks to the milter that runs: a socket that only its own user and root may
// use.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "host/base/fault.h"
#include "host/cli/console/file_io.h"
#include "platform/config/quzo_settings.h"

namespace quzo::host {

// Where commands find the milter of these settings; empty: nowhere.
std::string controlPathOf(const platform::IniSettings& settings);

// What the milter answers.
struct ControlAnswer {
    std::string text; // lines for people, each with its line break
    int exitCode = 0; // of the command that asked
};

// The milter's side; for one thread.
class ControlSocket {
public:
    ControlSocket() = default;
    ~ControlSocket(); // removes the socket's file
    ControlSocket(const ControlSocket&) = delete;
    ControlSocket& operator=(const ControlSocket&) = delete;

    // Listens at the path, whose folder is made when it is not there. A socket that a dead process has left
    // is taken over, that of a living one never.
    MaybeFault open(const std::string& path);

    // Readable when somebody calls; -1 before open().
    int descriptor() const { return listener_.get(); }

    // Takes the call that waits and answers it. A caller who says nothing for two seconds is let go.
    void serve(const std::function<ControlAnswer(std::string_view request)>& answer);

private:
    FileDescriptor listener_;
    std::string path_; // empty: there is nothing to remove
};

// The command's side: asks the milter that listens at the path, and waits up to two minutes for the answer.
MaybeFault askMilter(const std::string& path, std::string_view request, ControlAnswer& answer);

} // namespace quzo::host
