#pragma once
// A subcommand of kavix: its name, its help and its options, and what it does.
#include <functional>
#include <string>
#include <vector>

#include "tools/options.h"

namespace kavix::tool {

struct Command {
    std::string name;
    std::string summary;      // one line, for `kavix --help`
    std::string arguments;    // after "kavix NAME", e.g. "[options]"
    std::string description;  // what it does, before the options
    std::string examples;     // lines of examples, may be empty
    std::vector<OptionDef> options;
    std::function<int()> run;  // exit code; throws UsageError or RuntimeError
};

Command list_command();
Command info_command();
Command grab_command();

}  // namespace kavix::tool
