#!/usr/bin/env bash
# Whole jobs over a folder of mail, side by side with what an administrator would use instead of quzo: altermime called
# for each message, a loop in Perl with MIME::Tools, one in Python with the email package, and, messages in memory, a
# program on GMime. One job stamps each message (tag, field, disclaimer), the other removes all attachments. Makes the
# figures of that section of docs/performance.md in three to five minutes; builds nothing.
#
#     bench/compare.sh [BUILD_FOLDER [MAIL_FOLDER [TURNS]]]
#
# BUILD_FOLDER (build/release) is configured with -DQUZO_BUILD_BENCH=ON and built; MAIL_FOLDER is the one of QUZO_CORPUS
# when it is there, else examples/mail. Everything is on one file system, /dev/shm when it is there, else the folder for
# temporary files. Exits with 1 when a promised figure is missed.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
for program in quzo edit_speed; do
    if [ ! -x "$build/bin/$program" ]; then
        echo "$build/bin/$program is missing: see docs/performance.md" >&2
        exit 66
    fi
done
if ! command -v altermime >/dev/null || ! perl -MMIME::Parser -e 1 2>/dev/null; then
    echo "altermime or MIME::Tools is missing: scripts/install_packages --with-bench" >&2
    exit 66
fi
corpus=${QUZO_CORPUS:-$(sed -n 's/^QUZO_CORPUS:PATH=//p' "$build/CMakeCache.txt")}
mail=${2:-$corpus/mail}
[ -d "$mail" ] || mail=examples/mail

place=${TMPDIR:-/tmp}
[ ! -w /dev/shm ] || place=/dev/shm
work=$(mktemp -d "$place/quzo-compare.XXXXXX")
trap 'rm -rf "$work"' EXIT
export PYTHONDONTWRITEBYTECODE=1
printf '[platform]\nstore = sqlite3://%s/store.db\n' "$work" >"$work/quzo.ini"
"$build/bin/quzo" object add stamp disclaimer -c "$work/quzo.ini" --text-file bench/compare/disclaimer.txt \
    --html-file bench/compare/disclaimer.html >/dev/null

missed=0
echo "== a folder of mail on $(stat -f -c %T "$work") ($place); quzo makes its outputs durable before it ends"
python3 bench/compare/folders.py "$build" "$mail" "$work" "${3:-3}" || missed=1
echo "== in memory, one thread: GMime ms a message, quzo ms a message, times as fast, promised"
"$build/bin/edit_speed" "$mail" "$work/store.db" 15 || missed=1
echo "== one message of 20 MB with an attachment of 15 MB"
python3 bench/compare/large_message.py "$build/bin/quzo" "$work" || missed=1
"$build/bin/edit_speed" "$work/large" "$work/store.db" 15 || missed=1
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
exit "$missed"
