// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Log.h"

#include <exception>
#include <string>
#include <typeinfo>

/// Runs `call`, which reaches code of the application (a delegate, a library of the host), and keeps its exceptions
/// from crossing the service, the MTP library or the end of a thread. An exception is logged in the name of the calling
/// method; the answer is false then.
template <typename Call>
bool callApplication(Call&& call, const char* file = __builtin_FILE(), const char* function = __builtin_FUNCTION(),
                     int line = __builtin_LINE()) {
    const auto report = [&](const char* name, const char* reason) {
        if (platform::isLogged(3)) {
            platform::writeLog(file, function, line, platform::formatText("Name : %@", name));
            platform::writeLog(file, function, line, platform::formatText("Reason :%@", reason));
        }
    };
    try {
        std::forward<Call>(call)();
        return true;
    } catch (const std::exception& exception) {
        report(typeid(exception).name(), exception.what());
    } catch (...) {
        report("unknown", "not a standard exception");
    }
    return false;
}
