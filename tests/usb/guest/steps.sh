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

# killed_put FILE: a put whose program is killed while its bytes are on_its_way, so that nobody ends its session.
killed_put() {
    mtpservice put --no-metadata "$1" &
    local job=$!
    wait_for on_its_way "$1" || return 1
    kill -9 $job
    fails wait $job
}

# announced FILE: whether an application is told of a file that appears on the device, with the event's code and where the
# device hangs.
announced() {
    mtpservice --json devices --events > /tmp/events 2>&1 &
    local watcher=$! status=0
    wait_for grep -q '"change":"attached"' /tmp/events && echo content > "$1" &&
        wait_for grep -q '"VXLUMO_NOTI_MTP_NOTIFY_EVENT".*"EventCode":16386,"LocationId":"1100000"' /tmp/events || status=1
    kill $watcher
    wait $watcher || status=1
    [ $status -eq 0 ] || cat /tmp/events
    return $status
}

# is_back: whether the device answers; one whose responder left the bus, for what happened to it there, is plugged in again.
is_back() {
    [ -n "$(cat "$gadget/UDC")" ] || plug_in
    mtpservice storages
}

# serve_own FOLDER SIZE: our own responder in place of what is plugged in, with a virtual device in FOLDER whose storage Phone
# has the SIZE.
serve_own() {
    pull_out
    stop_responder
    mtpservice virtual create "$1" --name "Guest Player" --storage "Phone:$2" --storage Card:8M > /dev/null 2>&1
    make_gadget own
    # Hosts that go by Microsoft's descriptor ask for it like this.
    echo 1 > "$gadget/os_desc/use"
    echo 0xCD > "$gadget/os_desc/b_vendor_code"
    echo MSFT100 > "$gadget/os_desc/qw_sign"
    ln -s "$gadget/configs/c.1" "$gadget/os_desc"
    start_own "$1" own
    plug_in
}

# misbehaves SECONDS OPTION...: random misbehaviour of the line, all rounds of which have to hold, in that time at the most. A
# device that leaves the bus for what it gets is plugged in again.
misbehaves() {
    while :; do usleep 300000; [ -n "$(cat "$gadget/UDC")" ] || plug_in; done > /dev/null 2>&1 &
    local keeper=$! limit=$1
    shift
    timeout "$limit" misbehave --usb "$@"
    local status=$?
    kill $keeper
    { wait $keeper; } 2> /dev/null
    wait_for is_back && return $status
}
