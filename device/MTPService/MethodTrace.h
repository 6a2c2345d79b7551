// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Log.h"

/// Logs "ENTER" and "EXIT" of the method in which it stands: level 6 for methods of the service, 7 for event methods
/// and the notifier's.
class MethodTrace {
public:
    explicit MethodTrace(int level, const char* file = __builtin_FILE(), const char* function = __builtin_FUNCTION(),
                         int line = __builtin_LINE())
        : _level(level)
        , _file(file)
        , _function(function)
        , _line(line) {
        write("ENTER");
    }
    ~MethodTrace() { write("EXIT"); }
    MethodTrace(const MethodTrace&) = delete;
    MethodTrace& operator=(const MethodTrace&) = delete;

private:
    void write(const char* text) const {
        if (platform::isLogged(_level)) {
            platform::writeLog(_file, _function, _line, text);
        }
    }

    int _level;
    const char* _file;
    const char* _function;
    int _line;
};
