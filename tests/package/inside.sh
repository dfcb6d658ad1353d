#!/bin/bash
# The life of an installation, inside the root that scripts/try packages makes.
set -u
# shellcheck source=tests/scripts/expect.sh
source /try/expect.sh
# shellcheck source=tests/package/settingsattack.sh
source /try/settingsattack.sh

echo "127.0.0.1 localhost $(hostname)" >/etc/hosts # sudo looks up its own name
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
readonly address=http://127.0.0.1:8080
readonly state=/var/lib/vondserver
readonly log=/var/log/vondserver/vondServer.log

ask() {
    curl --silent --show-error --max-time 60 "$@"
}

# wait_for WHAT COMMAND...: until the command succeeds, at most 20 seconds
wait_for() {
    local what=$1 deadline=$((SECONDS + 20))
    shift
    until "$@" >/dev/null 2>&1; do
        ((SECONDS < deadline)) || { fail "waited in vain for $what"; return 1; }
        sleep 0.05
    done
}

answers() {
    [[ $(ask "$address/vondServerVersion" 2>/dev/null) == vondServer:* ]]
}

installs() {
    apt-get -q=2 -y --no-install-recommends -o Dpkg::Use-Pty=0 -o Dpkg::Options::=--force-confold \
        install "$@" >/try/apt.log 2>&1 </dev/null || fail "apt-get install:" "$(tail -n 20 /try/apt.log)"
}

main_pid() {
    systemctl show --value --property MainPID vondserver
}

processes_of_the_service() {
    ps -o pid= -u vondserver
}

nobody_is_left() {
    [[ -z $(processes_of_the_service) ]]
}

# convert ID [NAME]: the response to a conversion to PressCMYK
convert() {
    ask --data "{\"fileName\": \"${2-demo.jpg}\", \"reqestID\": \"$1\",
        \"configuration\": \"PressCMYK\", \"cancelID\": \"stop-$1\"}" "$address/convert"
}

# vond ARGUMENT...: the tool with arguments of our own
vond() {
    local arguments
    printf -v arguments '"%s",' "$@"
    ask --data "[${arguments%,}]" "$address/vond"
}

# There is no man in here to find our page.
complaints() {
    systemd-analyze verify vondserver.service vondserver-second.service vondserver-probe.service 2>&1 | grep -v "Command 'man "
}

own_settings() {
    sudo -Hu vondserver vondServer "$@"
}

readonly own_store=$state/.config/meridane/vondServer.conf

restart() {
    systemctl restart vondserver
    wait_for "an answer" answers
}

installing_without_systemd_running_makes_user_and_folders() {
    installs /try/packages/*.deb
    expect "folder for files" "$(stat -c '%U %a' $state/tmp)" "vondserver 700"
    expect "folder for the log" "$(stat -c '%U %G %a' /var/log/vondserver)" "vondserver adm 2750"
    expect "enabled" "$(systemctl is-enabled vondserver)" enabled
    own_settings >/try/by-hand.log 2>&1 &
    wait_for "an answer" answers
    kill "$(pgrep -u vondserver -x vondServer)"
    wait
}

installing_starts_the_service() {
    installs /try/packages/*.deb
    expect "state" "$(systemctl is-active vondserver)" active
    expect "at boot" "$(systemctl is-enabled vondserver)" enabled
    wait_for "an answer" answers
    expect "version" "$(ask $address/vondServerVersion)" "vondServer:$(dpkg-query -f '${Version}' -W vond-server)"
    expect "user" "$(ps -o user= -p "$(main_pid)")" vondserver
    expect "complaints of the unit" "$(complaints)" ""
}

the_page_lies_there_for_a_proxy() {
    local file
    for file in index.html main.js decoder/geotiff.js decoder/third-party.txt; do
        setpriv --reuid=nobody --clear-groups test -s "/usr/share/vond-server/console/$file" \
            || fail "$file is not there for everybody"
    done
}

settings_need_no_hands() {
    expect "temporary folder" "$(own_settings getTempFolder 2>/dev/null | tail -n 1)" "TempFolder:$state/tmp"
    [[ -f $state/.config/meridane/vondServer.conf ]] || fail "the store has no part of its own"
    expect_part "log" "$(cat $log)" "Server starting ..."
}

every_start_writes_the_probe_and_logs_itself_once() {
    local starts
    sed -i '/^test1=/d' $own_store
    starts=$(grep -c 'Server starting' $log)
    restart
    expect_part "own settings" "$(cat $own_store)" "test1=servertester"
    expect "starts in the log" "$(grep -c 'Server starting' $log)" $((starts + 1))
    expect "owner" "$(stat -c '%U %a' $own_store)" "vondserver 600"
}

it_starts_where_the_store_cannot_be_written() {
    sed -i '/^test1=/d' $own_store
    mount --bind $state/.config $state/.config
    mount -o remount,bind,ro $state/.config
    restart
    umount $state/.config
    expect "probe" "$(grep test1 $own_store)" ""
}

settings_commands_work_while_it_serves() {
    sudo -u vondserver mkdir $state/tmp/other
    own_settings setTempFolder $state/tmp/other >/dev/null 2>&1
    expect "upload" "$(ask --data-binary abc $address/upload/for-other)" '{"ok": true}'
    expect "where it went" "$(cat $state/tmp/other/for-other)" abc
    own_settings setTempFolder $state/tmp >/dev/null 2>&1
    ask --data-binary abc $address/upload/for-tmp >/dev/null
    expect "where the next one went" "$(cat $state/tmp/for-tmp)" abc
    own_settings setLogging 0 >/dev/null 2>&1
    restart
    expect "log by the journal" "$(wc -l <$log)" "$(ask $address/ >/dev/null; wc -l <$log)"
    own_settings setLogging 1 >/dev/null 2>&1
    restart
}

a_conversion_gives_what_the_tool_gives_outside() {
    expect "upload" "$(ask --data-binary @/try/demo.jpg $address/upload/demo.jpg)" '{"ok": true}'
    expect "conversion" "$(convert first)" demo_PressCMYK.jpg
    ask --output /tmp/result $address/getConversionResult/demo_PressCMYK.jpg
    vond-sample -c PressCMYK /try/demo.jpg -o /tmp/expected.jpg >/dev/null || fail "the tool by hand"
    cmp /tmp/result /tmp/expected.jpg || fail "the pictures differ"
    expect "owner" "$(stat -c '%U %a' $state/tmp/demo_PressCMYK.jpg)" "vondserver 600"
}

a_failing_conversion_is_told() {
    expect_part "answer" "$(convert second nowhere.jpg)" nowhere.jpg
}

a_conversion_is_cancelled() {
    expect "cancelling" "$(ask $address/cancelConversion/stop-third)" stop-third
    expect_part "answer" "$(convert third)" cancel
}

nothing_outside_its_folders_can_be_written() {
    local folder answer
    expect_part "inside" "$(vond -c sRGB $state/tmp/demo.jpg -o $state/tmp/by-vond.jpg)" by-vond.jpg
    [[ -s $state/tmp/by-vond.jpg ]] || fail "not even inside"
    # Without the sandbox, file permissions would let it write to two of these.
    mkdir -p /srv/open /var/lib/other
    chmod 777 /srv/open /var/lib/other
    for folder in /srv/open /var/lib/other $state $state/.config $state/.config/meridane \
        /etc /etc/xdg /etc/xdg/meridane /usr/bin /root /home /run; do
        answer=$(vond -c sRGB $state/tmp/demo.jpg -o "$folder/outside.jpg")
        expect_part "answer for $folder" "$answer" "Error:"
        [[ ! -e $folder/outside.jpg ]] || fail "$folder was written to"
    done
    for folder in /tmp /var/tmp /dev/shm; do # its own, or none
        vond -c sRGB $state/tmp/demo.jpg -o "$folder/outside.jpg" >/dev/null
        [[ ! -e $folder/outside.jpg ]] || fail "$folder was written to"
    done
    expect_part "reading the password file" \
        "$(vond -c sRGB /etc/shadow -o $state/tmp/x.jpg)" "Error:"
}

the_sandbox_is_as_tight_as_said() {
    local exposure
    exposure=$(systemd-analyze security --no-pager vondserver.service \
        | sed -n 's/.*Overall exposure level for vondserver.service: \([0-9.]*\) .*/\1/p')
    awk -v is="${exposure:-10}" 'BEGIN { exit is > 1.1 }' || fail "exposure is $exposure"
    expect "privileges" "$(sed -n 's/^\(NoNewPrivs\|CapBnd\|Seccomp\):\t*//p' "/proc/$(main_pid)/status" | xargs)" \
        "0000000000000000 1 2"
    expect "descriptors" "$(sed -n 's/^Max open files *\([0-9]*\) .*/\1/p' "/proc/$(main_pid)/limits")" 16384
    expect "tasks" "$(systemctl show --value -p TasksMax vondserver)" 4096
    echo "     exposure level: $exposure"
}

old_files_go_and_young_ones_stay() {
    sudo -u vondserver touch -d '3 days ago' $state/tmp/old
    sudo -u vondserver touch -d '1 day ago' $state/tmp/young
    systemd-tmpfiles --clean
    [[ ! -e $state/tmp/old ]] || fail "the old file is still there"
    [[ -e $state/tmp/young ]] || fail "the young file is gone"
    [[ -f $state/.config/meridane/vondServer.conf ]] || fail "the settings are gone"
}

the_log_can_be_rotated_while_it_serves() {
    local before
    before=$(wc -l <$log)
    logrotate --force /etc/logrotate.d/vond-server || fail "logrotate"
    ask $address/ >/dev/null
    expect "lines in the old file" "$(wc -l <$log.1)" "$before"
    expect_part "new file" "$(cat $log)" "handling request from client:"
    expect "who may read them" "$(stat -c '%U %G %a' $log $log.1 | sort -u)" "vondserver adm 640"
    setpriv --reuid=nobody --regid=nogroup --groups=adm cat $log >/dev/null || fail "adm may not read the log"
    expect "what else the group may read" "$(find $state/tmp -name 'demo*' -perm /077)" ""
}

a_second_service_serves_beside_the_first() {
    local second=http://127.0.0.2:8080 second_log=/var/log/vondserver/second/vondServer.log
    expect "at boot" "$(systemctl is-enabled vondserver-second)" static
    systemctl start vondserver-second
    wait_for "an answer of the second" curl --silent --fail "$second/vondServerVersion"
    expect_part "its log" "$(cat $second_log)" "Running on http://127.0.0.2:8080/"
    expect "who may read it" "$(stat -c '%U %G %a' $second_log)" "vondserver adm 640"
    ask --data-binary abc "$second/upload/shared.txt" >/dev/null
    expect "what the first has of its upload" "$(ask "$address/getConversionResult/shared.txt")" abc
    systemctl stop vondserver-second
    expect "the first" "$(ask "$address/vondServerVersion" | cut -d: -f1)" vondServer
}

it_is_started_again_after_a_crash() {
    local before
    before=$(main_pid)
    sed -i '/^test1=/d' $own_store
    kill -SEGV "$before"
    wait_for "the end of the old one" bash -c "! kill -0 $before"
    wait_for "an answer" answers
    [[ $(main_pid) != "$before" && $(systemctl is-active vondserver) == active ]] || fail "not restarted"
    expect_part "own settings" "$(cat $own_store)" "test1=servertester"
}

a_stop_leaves_no_tool_behind() {
    # A tool that never ends and ignores being asked to.
    printf '#!/bin/sh\ntrap "" TERM\nwhile :; do sleep 1; done\n' >/usr/local/bin/never-ending
    chmod 755 /usr/local/bin/never-ending
    printf '[General]\nvondPath=/usr/local/bin/never-ending\n' >$state/.config/meridane/vondServer.conf
    mkdir -p /etc/systemd/system/vondserver.service.d
    printf '[Service]\nTimeoutStopSec=2\n' >/etc/systemd/system/vondserver.service.d/quick.conf
    systemctl daemon-reload
    systemctl restart vondserver
    wait_for "an answer" answers
    curl --silent --data '["x"]' $address/vond >/dev/null &
    wait_for "the tool" pgrep -u vondserver -f never-ending
    systemctl stop vondserver
    expect "left behind" "$(processes_of_the_service)" ""
    wait
    rm -r $state/.config/meridane/vondServer.conf /etc/systemd/system/vondserver.service.d
    systemctl daemon-reload
    systemctl start vondserver
    wait_for "an answer" answers
}

nobody_writes_where_settings_are_read_from() {
    local before
    sed -i 's|^vondPath=.*|vondPath=/usr/bin/env|' /etc/xdg/meridane/vondServer.conf
    restart
    before=$(bash -c "$print_settings")
    # At the same time, something that runs as the same user outside the sandbox, as the commands do.
    sudo -Hu vondserver sleep 60 &
    attack_through_the_service
    expect_unchanged "through the service" "$(bash -c "$print_settings")" "$before"
    attack_through_the_tool
    expect_unchanged "through the tool" "$(bash -c "$print_settings")" "$before"
    pkill -u vondserver -x sleep
    wait
    the_settings_are_still_in_force
    restart
    expect_unchanged "after a start" "$(bash -c "$print_settings")" "$before"
    the_settings_are_still_in_force
    sed -i 's|^vondPath=.*|vondPath=/usr/bin/vond-sample|' /etc/xdg/meridane/vondServer.conf
    restart
}

a_drop_in_gives_a_tool_more() {
    mkdir -p /srv/vond /etc/systemd/system/vondserver.service.d
    chown vondserver: /srv/vond
    sudo -u vondserver mkdir $state/.config/colour
    expect_part "before" "$(vond -c sRGB $state/tmp/demo.jpg -o /srv/vond/out.jpg)" "Error:"
    sed 's/^#\(MemoryDenyWriteExecute\|ReadWritePaths\)/\1/' /try/tool.conf \
        >/etc/systemd/system/vondserver.service.d/tool.conf
    systemctl daemon-reload
    systemctl restart vondserver
    wait_for "an answer" answers
    vond -c sRGB $state/tmp/demo.jpg -o /srv/vond/out.jpg >/dev/null
    [[ -s /srv/vond/out.jpg ]] || fail "the folder could still not be written"
    vond -c sRGB $state/tmp/demo.jpg -o $state/.config/colour/out.jpg >/dev/null
    [[ -s $state/.config/colour/out.jpg ]] || fail "the tool's settings could still not be written"
    # A writable folder above the settings does not open these.
    printf '[Service]\nReadWritePaths=%s\n' $state >/etc/systemd/system/vondserver.service.d/wide.conf
    systemctl daemon-reload
    restart
    expect_part "the settings in a wide folder" \
        "$(vond -c sRGB $state/tmp/demo.jpg -o $state/.config/outside.jpg)" "Error:"
    # Every other line of it is understood, too.
    mkdir -p /home/colour/profiles
    sed 's/^#\([A-Z][A-Za-z]*=\)/\1/' /try/tool.conf >/etc/systemd/system/vondserver.service.d/tool.conf
    systemctl daemon-reload
    expect "complaints" "$(complaints)" ""
    rm -r /etc/systemd/system/vondserver.service.d
    systemctl daemon-reload
    systemctl restart vondserver
    wait_for "an answer" answers
}

an_upgrade_restarts_and_keeps_settings_and_files() {
    local before
    before=$(main_pid)
    own_settings setLogFolder $state/tmp >/dev/null 2>&1
    sed -i 's/^portNumber=.*/portNumber=8081/' /etc/xdg/meridane/vondServer.conf
    installs /try/next/*.deb
    expect_part "version" "$(dpkg-query -f '${Version}' -W vond-server)" .1
    [[ $(main_pid) != "$before" ]] || fail "the old program still runs"
    wait_for "an answer on the changed port" \
        curl --silent --fail http://127.0.0.1:8081/vondServerVersion
    [[ -s $state/tmp/demo_PressCMYK.jpg ]] || fail "a result is gone"
    expect_part "own settings" "$(cat $state/.config/meridane/vondServer.conf)" "LogFolder=$state/tmp"
    sed -i 's/^portNumber=.*/portNumber=8080/' /etc/xdg/meridane/vondServer.conf
    rm $state/.config/meridane/vondServer.conf
    systemctl disable vondserver >/dev/null 2>&1
    installs --reinstall /try/next/*.deb
    expect "disabled stays disabled" "$(systemctl is-enabled vondserver)" disabled
}

removing_stops_it_and_keeps_settings_and_files() {
    apt-get -q=2 -y -o Dpkg::Use-Pty=0 remove vond-server vond-sample-tool >/try/apt.log 2>&1 </dev/null \
        || fail "apt-get remove:" "$(tail -n 20 /try/apt.log)"
    expect "processes" "$(processes_of_the_service)" ""
    [[ ! -e /usr/bin/vondServer && ! -e /usr/bin/vond-sample ]] || fail "the programs are still there"
    [[ -e /etc/xdg/meridane/vondServer.conf && -e $state/tmp/demo_PressCMYK.jpg ]] || fail "too much is gone"
}

purging_leaves_nothing_but_the_user() {
    apt-get -q=2 -y -o Dpkg::Use-Pty=0 purge vond-server vond-sample-tool >/try/apt.log 2>&1 </dev/null \
        || fail "apt-get purge:" "$(tail -n 20 /try/apt.log)"
    expect "what dpkg knows" "$(dpkg-query -f '${db:Status-Abbrev}' -W 'vond*' 2>/dev/null | grep -v '^un')" ""
    expect "files" "$(find / -xdev -ipath '*vond*s*' -not -path '/try*' -not -path '/proc/*' -not -path '/srv/*' \
        -not -path '/tmp/*' -not -path '/var/cache/*' -not -path '/var/lib/systemd/*' 2>/dev/null)" ""
    getent passwd vondserver >/dev/null || fail "the user is gone"
}

if [[ ${1-} == not-booted ]]; then
    run_tests installing_without_systemd_running_makes_user_and_folders
fi

(run_tests \
    installing_starts_the_service \
    the_page_lies_there_for_a_proxy \
    settings_need_no_hands \
    every_start_writes_the_probe_and_logs_itself_once \
    it_starts_where_the_store_cannot_be_written \
    settings_commands_work_while_it_serves \
    a_conversion_gives_what_the_tool_gives_outside \
    a_failing_conversion_is_told \
    a_conversion_is_cancelled \
    nothing_outside_its_folders_can_be_written \
    the_sandbox_is_as_tight_as_said \
    old_files_go_and_young_ones_stay \
    the_log_can_be_rotated_while_it_serves \
    a_second_service_serves_beside_the_first \
    it_is_started_again_after_a_crash \
    a_stop_leaves_no_tool_behind \
    nobody_writes_where_settings_are_read_from \
    a_drop_in_gives_a_tool_more \
    an_upgrade_restarts_and_keeps_settings_and_files \
    removing_stops_it_and_keeps_settings_and_files \
    purging_leaves_nothing_but_the_user)
echo $? >/try/outcome
journalctl --no-pager --unit vondserver >/try/journal 2>&1
