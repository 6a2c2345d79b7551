// SPDX-License-Identifier: MIT
#include "platform/Log.h"
#include "tools/Command.h"
#include "tools/HostSetup.h"
#include "tools/ScreenText.h"

#include <csignal>
#include <exception>
#include <unistd.h>

namespace {

using namespace tool;

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
    app.add_option("--device", options.device, "The device, by location ID or name; needed when there are several")
        ->type_name("LOCATION|NAME");
    app.add_option("--virtual", options.virtualDevices, "Attach the virtual device in this folder (repeatable)")
        ->type_name("DIR")
        ->allow_extra_args(false);
    app.add_option("--profiles", options.profiles, "Look for device profiles in this folder first (repeatable)")
        ->type_name("DIR")
        ->allow_extra_args(false);
    app.add_flag("--json", options.json, "Print data and notifications as JSON, one object a line");
    app.add_option("--debug", options.debugLevel, "Log what the service does: 1 odd entries, 3 failures … 7 everything")
        ->type_name("LEVEL")
        ->check(CLI::Range(0, 7));
}

constexpr const char* kFooter = "Examples:\n"
                                "  mtpservice devices                              what is attached\n"
                                "  mtpservice put ~/Music/album ~/Pictures/holiday onto the only device\n"
                                "  mtpservice get -r Phone/DCIM -o ~/Pictures      and from it\n"
                                "  mtpservice virtual create ~/player --name Player\n"
                                "  mtpservice --virtual ~/player put song.mp3      onto a device that is a folder\n\n"
                                "`mtpservice COMMAND --help` tells more of each command. The options above may stand\n"
                                "before or after it.\n\n"
                                "Exit status: 0 all done, 1 some files failed, 2 wrong usage, 3 no device.";

/// The console takes log lines for as long as it is there.
class LogToConsole {
public:
    explicit LogToConsole(Console& console) {
        platform::setLogSink([&console](const std::string& line) { console.say(safeText(line)); });
    }
    ~LogToConsole() { platform::setLogSink(nullptr); }
    LogToConsole(const LogToConsole&) = delete;
    LogToConsole& operator=(const LogToConsole&) = delete;
};

ExitStatus runAction(const Action& action, const GlobalOptions& options, Console& console) {
    const LogToConsole log(console);
    try {
        Interrupt interrupt;
        setUpHost(options);
        Environment environment{options, console, interrupt};
        return action(environment);
    } catch (const Failure& failure) {
        console.say(std::string("mtpservice: ") + failure.what());
        return failure.status();
    } catch (const std::exception& error) {
        console.say(std::string("mtpservice: ") + safeText(error.what()));
        return ExitStatus::someFailed;
    }
}

} // namespace

int main(int argc, char** argv) {
    // A reader that goes away shows as a failed write, so that the device is left in order.
    std::signal(SIGPIPE, SIG_IGN);
    DescriptorOutput out(STDOUT_FILENO);
    DescriptorOutput err(STDERR_FILENO);
    Console console(out, err);

    GlobalOptions options;
    CLI::App app("Browses, fills, empties and synchronises MTP devices.", "mtpservice");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kFooter);
    addGlobalOptions(app, options);
    Commands commands(app);
    addCommands(commands);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const bool isHelp = app.exit(error) == 0;
        return static_cast<int>(isHelp ? ExitStatus::done : ExitStatus::usage);
    }
    return static_cast<int>(runAction(commands.parsed(), options, console));
}
