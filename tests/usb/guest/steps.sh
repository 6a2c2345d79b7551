# SPDX-License-Identifier: MIT
# What the guest's scenarios are written with. Sourced.
. /guest/gadget.sh

failures=0
touch /tmp/said

# check WHAT COMMAND...: the command has to answer 0; what it says is shown when it does not.
check() {
    local what=$1
    shift
    mv /tmp/said /tmp/said-before
    "$@" > /tmp/said 2>&1
    local status=$?
    if [ $status -eq 0 ]; then
        echo "ok      $what"
    else
        echo "FAILED  $what (status $status)"
        cat /tmp/said
        failures=$((failures + 1))
    fi
}

# said TEXT: whether the step before said it.
said() { grep -q -- "$1" /tmp/said-before || { cat /tmp/said-before; return 1; }; }

# as_everywhere STORAGES [media]: whether a person's commands on the device that is plugged in do and say what they do
# and say on any other; its storages lie in the folder STORAGES.
as_everywhere() {
    cat /guest/commands.expected ${2:+/guest/$2.expected} > /tmp/expected
    sh /guest/commands.sh "$1" "" ${2:-} > /tmp/transcript 2>&1
    diff /tmp/expected /tmp/transcript
}
