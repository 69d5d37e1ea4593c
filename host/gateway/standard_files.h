// The files of the installation that a machine has in its usual place.
#pragma once

#include <string>

namespace quzo::host {

struct StandardFiles {
    std::string iniFile;    // empty: it is not there
    std::string policyFile; // empty: it is not there
};

// The folder that was chosen when the program was built, such as /etc/quzo.
const char* standardFolder();

// quzo.ini and policy.toml in the folder. What cannot be looked at counts as being there, so that whoever
// opens it says why it cannot be read: only a file that is surely missing is left out.
StandardFiles standardFiles(const std::string& folder = standardFolder());

} // namespace quzo::host
