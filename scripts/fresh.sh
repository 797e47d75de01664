#!/usr/bin/env bash
# What a newcomer has: a bare Debian with nothing but git and certificates, a clone of this checkout, and the commands of
# the README. `./run fresh` takes it from here; say() is there.
fresh_commands=("./run demo" "./run test" "./run windows")

# Runs a command in the Debian of a folder: fresh_inside FOLDER COMMAND [ARGUMENT...]. Mounts and processes of its own end
# with it, whatever becomes of it.
fresh_inside() {
    # shellcheck disable=SC2016
    unshare --mount --pid --fork --kill-child --mount-proc="$1/proc" bash -c '
        mount --rbind /dev "$0/dev"
        exec chroot "$0" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin bash -c "cd /root && exec \"\$@\"" _ "$@"' \
        "$@" </dev/null
}

# The lines of sources.list for a suite, at the mirrors that this machine has its packages from.
fresh_sources() {
    # shellcheck disable=SC2016
    apt-get indextargets --format '$(LABEL) $(SITE)' 'Created-By: Packages' 'Origin: Debian' | sort -u |
        while read -r label site; do
            case $label in
                Debian) printf 'deb %s %s main\n' "$site" "$1" "$site" "$1-updates" ;;
                Debian-Security) printf 'deb %s %s main\n' "$site" "$1-security" ;;
            esac
        done
}

# fresh_debian SUITE FOLDER: makes that Debian anew.
fresh_debian() {
    local sources
    sources=$(fresh_sources "$1")
    [[ -n $sources ]] || { say "apt knows no mirror of Debian here (apt-get update)."; return 1; }
    rm -rf --one-file-system "$2"
    debootstrap --variant=minbase --include=git,ca-certificates "$1" "$2" "$(awk '{ print $2; exit }' <<<"$sources")" &&
        printf '%s\n' "$sources" >"$2/etc/apt/sources.list" &&
        git clone --quiet --no-hardlinks . "$2/root/tsprintportmon"
}

fresh_packages() { dpkg-query --admindir="$1/var/lib/dpkg" -W -f '${Package} ${Status}\n' | grep -c 'ok installed$'; }

# fresh SUITE...: one line for each command, with its time, that of the processors, and what it has installed.
fresh() {
    local suite folder log command status before started result=0 TIMEFORMAT='%R s, processors %U s'
    for suite in "$@"; do
        folder=$(realpath -m "${FRESH_FOLDER:-/var/tmp/tsprintportmon-fresh}/$suite")
        log=$folder.log
        mkdir -p "$(dirname "$folder")"
        say "A bare $suite in $folder (output: $log) ..."
        fresh_debian "$suite" "$folder" >"$log" 2>&1 || { tail -n 20 "$log" >&2; return 1; }
        say "$(git log -1 --format='Commit %h, as a clone has it: what is not committed is not in it.')"
        for command in "${fresh_commands[@]}"; do
            before=$(fresh_packages "$folder")
            started=$(wc -l <"$log")
            status=ok
            { time fresh_inside "$folder" bash -c "cd tsprintportmon && $command" >>"$log" 2>&1 || status=FAILED; } 2>"$log.time"
            printf '%s: %-14s %-7s %s; %s; %s more packages (%s)\n' "$suite" "$command" "$status" "$(cat "$log.time")" \
                "$(tail -n +"$((started + 1))" "$log" | grep -E '^[0-9]+ passed, [0-9]+ failed$' | tail -n 1)" \
                "$(($(fresh_packages "$folder") - before))" \
                "$(tail -n +"$((started + 1))" "$log" | sed -n 's/^Installing with apt: //p' | paste -sd ' ')"
            [[ $status == ok ]] || result=1
        done
        rm -f "$log.time"
    done
    return $result
}
