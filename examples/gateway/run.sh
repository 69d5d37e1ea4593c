#!/bin/bash
# A whole mail gateway for a minute: Postfix with quzo as its milter, PostgreSQL for the named objects, snmptrapd for
# the traps. Sends the mail of examples/mail through its front door, shows what became of it, and takes everything away
# again. It lives in one temporary folder and on ports of 127.0.0.1; nothing of the machine's own mail is touched.
#
# As root, after scripts/demo.sh has built the program; QUZO=/path/of/quzo names another one.
set -euo pipefail
umask 022
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
PATH=$PATH:/usr/sbin:$(printf '%s:' /usr/lib/postgresql/*/bin)
QUZO=${QUZO:-$root/build/release/bin/quzo}
user=nobody # of quzo

lacking() {
    echo "run.sh: $1" >&2
    exit 77
}
((EUID == 0)) || lacking "only root can start Postfix: run it as root"
[[ -x $QUZO ]] || lacking "there is no program $QUZO: build it with scripts/demo.sh, or name it with QUZO=..."
for need in postfix:postfix initdb:postgresql-15 snmptrapd:snmptrapd python3:python3; do
    type "${need%:*}" >/dev/null 2>&1 ||
        lacking "there is no ${need%:*}: apt-get install --no-install-recommends ${need#*:}"
done

# Whatever happens, nothing stays: each server ends with this script, which waits for it.
dir=$(mktemp -d /tmp/quzo-gateway.XXXXXX)
started=()
cleanup() {
    local pid
    set +e
    for pid in $(printf '%s\n' "${started[@]}" | tac); do
        kill "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null
    done
    rm -rf "$dir"
}
trap cleanup EXIT
trap 'exit 130' INT TERM HUP

as() { setpriv --reuid "$1" --regid "$(id -g "$1")" --clear-groups "${@:2}"; } # USER COMMAND...
start() { # USER LOG COMMAND...: in the background
    setpriv --reuid "$1" --regid "$(id -g "$1")" --clear-groups --pdeathsig TERM "${@:3}" >>"$dir/$2" 2>&1 &
    started+=($!)
}
until_holds() { # WHAT COMMAND...: for a minute at most, and as long as all servers are there
    local end=$((SECONDS + 60))
    while ((SECONDS < end)) && kill -0 "${started[@]}" 2>/dev/null; do
        if "${@:2}" >/dev/null 2>&1; then
            return
        fi
        sleep 0.1
    done
    echo "run.sh: $1 in vain; $(tail -n 20 "$dir"/*.log "$dir"/postfix/log/* 2>/dev/null)" >&2
    exit 1
}
heading() { printf '\n%s\n\n' "$1"; }
quzo() { as "$user" "$dir/program" "$@"; }
listens() { python3 -c 'import socket, sys; socket.create_connection(("127.0.0.1", int(sys.argv[1]))).close()' "$1"; }

# Ports that are free, and the files with them.
read -r front next rescan postgres traps < <(python3 - <<'PYTHON'
import socket
sockets = [socket.socket() for _ in range(5)]
for one in sockets:
    one.bind(("127.0.0.1", 0))
print(*(one.getsockname()[1] for one in sockets))
PYTHON
)
fill() { # FILE TARGET
    sed -e "s|@DIR@|$dir|g" -e "s|@FRONT@|$front|g" -e "s|@NEXT@|$next|g" -e "s|@RESCAN@|$rescan|g" \
        -e "s|@POSTGRES@|$postgres|g" -e "s|@TRAPS@|$traps|g" -e "s|@UID@|$(id -u "$user")|g" \
        -e "s|@GID@|$(id -g "$user")|g" "$here/$1" >"$2"
}
chmod 755 "$dir"
cp "$QUZO" "$dir/program" # where the user can run it
cp "$root/examples/policy.toml" "$root/examples/objects.toml" "$root/packaging/QUZO-MIB.txt" "$dir"
fill quzo.ini "$dir/quzo.ini"
install -d -o "$user" "$dir/run" "$dir/spool" "$dir/inbox"
install -o "$user" /dev/null "$dir/quzo.log"
install -d -o postgres "$dir/postgres"
install -d "$dir/postfix/etc" "$dir/postfix/queue" "$dir/postfix/log" "$dir/traps"
install -d -o postfix -m 700 "$dir/postfix/data"
fill main.cf "$dir/postfix/etc/main.cf"
fill master.cf "$dir/postfix/etc/master.cf"
echo 'authCommunity log example' >"$dir/traps/snmptrapd.conf"
# Without this a message can be hidden in the body of another one.
if [[ -n $(postconf -d smtpd_forbid_bare_newline 2>/dev/null) ]]; then
    printf 'smtpd_forbid_bare_newline = yes\nsmtpd_forbid_bare_newline_exclusions =\n' >>"$dir/postfix/etc/main.cf"
fi

echo "Starting PostgreSQL, snmptrapd, quzo milter and Postfix in $dir ..."
as postgres initdb -D "$dir/postgres/data" -U gateway -E UTF8 --locale=C.UTF-8 -A trust --no-sync \
    >"$dir/postgres.log" 2>&1
start postgres postgres.log postgres -D "$dir/postgres/data" -k "$dir/postgres" -p "$postgres" \
    -c listen_addresses=127.0.0.1 -c fsync=off
SNMP_PERSISTENT_DIR=$dir/traps/state SNMPCONFPATH=$dir/traps \
    start root snmptrapd.log snmptrapd -f -C -c "$dir/traps/snmptrapd.conf" -n -M "$dir" -m "$dir/QUZO-MIB.txt" -OaQ \
    -Lf "$dir/traps.log" -F '  %v\n' "udp:127.0.0.1:$traps"
until_holds "PostgreSQL was waited for" quzo object import -c "$dir/quzo.ini" "$dir/objects.toml"
quzo check -c "$dir/quzo.ini" -p "$dir/policy.toml"
umask 0 # so that Postfix may use the socket
start "$user" milter.log "$dir/program" milter -c "$dir/quzo.ini" -p "$dir/policy.toml"
umask 022
until_holds "the milter was waited for" test -S "$dir/run/milter.sock"
postfix -c "$dir/postfix/etc" check
start root postfix.log "$(postconf -c "$dir/postfix/etc" -h daemon_directory)/master" -c "$dir/postfix/etc" -e 600
until_holds "Postfix was waited for" listens "$front"

python3 "$here/mail.py" send "$front" "$root/examples/mail"
settled() {
    [[ $(MAIL_CONFIG=$dir/postfix/etc postqueue -j) == "" ]] &&
        ! quzo queue status -c "$dir/quzo.ini" --json | grep -E '"(outgoing|scan)"' | grep -v '"entries":0'
}
until_holds "the mail was waited for" settled

heading "The mail of examples/mail came in at the front door, and this is what became of it:"
show() {
    quzo queue list -c "$dir/quzo.ini" quarantine --json >"$dir/held"
    python3 "$here/mail.py" show "$root/examples/mail" "$dir/inbox" "$dir/held"
}
show
heading "What changed in 02-invoice.eml (- sent, + arrived at accounts@example.com):"
python3 "$here/mail.py" diff "$root/examples/mail/02-invoice.eml" "$dir/inbox" accounts@example.com

heading "The queues (quzo queue status):"
quzo queue status -c "$dir/quzo.ini" | sed 's/^/  /'
heading "The trap that tells of the program that is held (snmptrapd):"
until_holds "the trap was waited for" grep -q quzoText "$dir/traps.log"
sed -n 's/.*\(QUZO-MIB::quzoNot\)/  \1/p' "$dir/traps.log"
heading "Its lines in the logs of Postfix and quzo:"
held=$(sed -E 's/.*"id":"([^"]+)".*/\1/' "$dir/held")
line=$(grep "id=$held " "$dir/quzo.log")
queue_id=$(sed -E 's/.* file=([^ ]+) .*/\1/' <<<"$line")
grep "$queue_id: milter-discard" "$dir/postfix/log/mail.log" | sed -E 's/^.*(postfix\/cleanup)/  \1/' | cut -c1-160
echo "  $line"

heading "Released, it goes to the one whom it was for (quzo queue release quarantine $held):"
quzo queue release -c "$dir/quzo.ini" quarantine "$held" 2>>"$dir/milter.log" | sed 's/^/  /'
until_holds "the released message was waited for" settled
show | grep 11-forwarded.eml

cleanup
trap - EXIT
echo
[[ ! -e $dir ]] && echo "Postfix, the milter, PostgreSQL and snmptrapd have ended, and $dir is gone."
