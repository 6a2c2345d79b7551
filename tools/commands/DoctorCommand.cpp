// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/DeviceSelection.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"
#include "vemomtpsdk/Diagnosis.h"

#include <algorithm>

namespace tool {
namespace {

using vemomtpsdk::Finding;

const char* kindText(Finding::Kind kind) {
    switch (kind) {
    case Finding::Kind::fine:
        return "fine";
    case Finding::Kind::note:
        return "note";
    case Finding::Kind::problem:
        return "problem";
    }
    return "";
}

const char* mark(Finding::Kind kind) {
    switch (kind) {
    case Finding::Kind::fine:
        return "✓ ";
    case Finding::Kind::note:
        return "– ";
    case Finding::Kind::problem:
        return "✗ ";
    }
    return "";
}

ExitStatus examine(Environment& environment) {
    static_cast<void>(findDevices(environment.options)); // attaches those of --virtual
    const std::vector<Finding> findings = vemomtpsdk::diagnose();
    for (const Finding& finding : findings) {
        if (environment.options.json) {
            environment.console.print(jsonLine(platform::Dictionary{
                {"kind", kindText(finding.kind)}, {"text", finding.text}, {"advice", finding.advice}}));
            continue;
        }
        environment.console.print(mark(finding.kind) + safeText(finding.text));
        if (!finding.advice.empty()) {
            environment.console.print("    " + safeText(finding.advice));
        }
    }
    if (std::ranges::count(findings, Finding::Kind::problem, &Finding::kind) == 0) {
        return ExitStatus::done;
    }
    const bool anyWorks = std::ranges::count(findings, Finding::Kind::fine, &Finding::kind) != 0;
    return anyWorks ? ExitStatus::someFailed : ExitStatus::noDevice;
}

} // namespace

void addDoctorCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("doctor", "Say why a device cannot be used, and what to do");
    command->footer("Examples:\n"
                    "  mtpservice doctor                     looks at the system and at all devices\n\n"
                    "It looks whether this build can use USB, which devices could speak MTP, whether this user may\n"
                    "use them, who else has them, and opens each for a moment. As root it sees the programs of all\n"
                    "users. Exit status: 0 all is well, 1 something is not, 3 there is no device that works.");
    commands.add(command, examine);
}

} // namespace tool
