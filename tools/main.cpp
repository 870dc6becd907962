// kavix: the command-line tool of the camera library. Parses the options
// that hold for every command, plugs simulated cameras in, runs a command.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "tools/command.h"
#include "tools/failure.h"
#include "tools/options.h"
#include "tools/sim_cameras.h"

using namespace kavix::tool;

namespace {

struct GlobalSettings {
    std::vector<SimCameraRequest> sims;
    bool help = false;
    bool version = false;
    bool list_models = false;
};

std::vector<OptionDef> global_options(GlobalSettings &g) {
    return {
        {0, "sim", "MODEL",
         "plug a simulated camera of MODEL (product name or id) into the bus;\n"
         "repeat for more cameras; '--sim help' lists the models",
         [&g](std::string_view v) {
             if (v == "help" || v == "list") {
                 g.list_models = true;
                 return;
             }
             find_sim_model(v);  // an unknown model is a usage error right here
             g.sims.push_back({std::string(v), std::nullopt});
         }},
        {0, "sim-user-id", "N",
         "user ID of the camera of the --sim before it\n"
         "(default: its position among the --sim cameras: 0, 1, ...)",
         [&g](std::string_view v) {
             if (g.sims.empty())
                 throw UsageError("--sim-user-id must follow the --sim of its camera");
             if (g.sims.back().user_id)
                 throw UsageError("--sim-user-id given twice for --sim " + g.sims.back().model);
             g.sims.back().user_id = parse_uint("--sim-user-id", v, 0, 0xFFFFFFFFu);
         }},
        {'h', "help", "", "show this help; after a command, the command's help",
         [&g](std::string_view) { g.help = true; }},
        {0, "version", "", "show the version", [&g](std::string_view) { g.version = true; }},
    };
}

std::string top_usage() { return "Usage: kavix [--sim MODEL [--sim-user-id N]]... COMMAND [options]\n"; }

void print_top_help(const std::vector<Command> &commands, const std::vector<OptionDef> &global) {
    std::printf("%s\nGrab images from Kavix USB industrial cameras, real or simulated.\n\n"
                "Commands:\n",
                top_usage().c_str());
    for (const Command &c : commands) std::printf("  %-6s  %s\n", c.name.c_str(), c.summary.c_str());
    std::printf("\nOptions for every command (before or after it):\n%s\n"
                "Run 'kavix COMMAND --help' for the options of a command.\n"
                "Exit codes: 0 success, 1 failure, 2 wrong usage.\n\n"
                "Example: kavix --sim Tovrik-Q4C-A grab -n 3 -o shot_%%03d.png\n",
                format_options(global).c_str());
}

void print_command_help(const Command &c, const std::vector<OptionDef> &global) {
    std::printf("Usage: kavix %s %s\n\n%s\n", c.name.c_str(), c.arguments.c_str(),
                c.description.c_str());
    if (!c.options.empty()) std::printf("\nOptions:\n%s", format_options(c.options).c_str());
    std::printf("\nOptions for every command:\n%s", format_options(global).c_str());
    if (!c.examples.empty()) std::printf("\nExamples:\n%s\n", c.examples.c_str());
}

const Command *find_command(const std::vector<Command> &commands, const std::string &name) {
    for (const Command &c : commands)
        if (c.name == name) return &c;
    return nullptr;
}

int run(const std::vector<std::string> &args, std::string &help_topic) {
    std::vector<Command> commands;
    commands.push_back(list_command());
    commands.push_back(info_command());
    commands.push_back(grab_command());

    GlobalSettings settings;
    const std::vector<OptionDef> global = global_options(settings);

    const size_t at = parse_options_to_word(args, {&global});
    const Command *command = nullptr;
    if (at < args.size()) {
        command = find_command(commands, args[at]);
        if (!command) {
            std::string names;
            for (const Command &c : commands) names += (names.empty() ? "" : ", ") + c.name;
            throw UsageError("unknown command '" + args[at] + "' (commands: " + names + ")");
        }
        help_topic = command->name;
        const std::vector<std::string> rest(args.begin() + static_cast<long>(at) + 1, args.end());
        const std::vector<std::string> words = parse_options(rest, {&command->options, &global});
        if (!words.empty()) throw UsageError("unexpected argument '" + words.front() + "'");
    }

    if (settings.help) {
        if (command)
            print_command_help(*command, global);
        else
            print_top_help(commands, global);
        return 0;
    }
    if (settings.version) {
        std::printf("kavix %s\n", KAVIX_TOOL_VERSION);
        return 0;
    }
    if (settings.list_models) {
        std::printf("Simulated camera models (--sim NAME or --sim ID):\n%s",
                    sim_model_list().c_str());
        return 0;
    }
    if (!command) throw UsageError("no command given");

    plug_sim_cameras(settings.sims);
    return command->run();
}

}  // namespace

int main(int argc, char **argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    std::string help_topic;
    try {
        return run(args, help_topic);
    } catch (const UsageError &e) {
        std::fprintf(stderr, "kavix: %s\n", e.what());
        if (help_topic.empty())
            std::fprintf(stderr, "%sTry 'kavix --help' for more information.\n",
                         top_usage().c_str());
        else
            std::fprintf(stderr, "Try 'kavix %s --help' for more information.\n",
                         help_topic.c_str());
        return 2;
    } catch (const RuntimeError &e) {
        std::fprintf(stderr, "kavix: error: %s\n", e.what());
        if (!e.hint.empty()) std::fprintf(stderr, "%s\n", e.hint.c_str());
        return 1;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "kavix: error: %s\n", e.what());
        return 1;
    }
}
