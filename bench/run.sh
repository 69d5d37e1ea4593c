#!/usr/bin/env bash
# Makes the figures of docs/performance.md: says what machine this is, then runs the measurements of this folder one
# after the other, in two to three minutes. Builds nothing.
#
#     bench/run.sh [BUILD_FOLDER [MAIL_FOLDER]]
#
# BUILD_FOLDER (build/release) is configured with -DQUZO_BUILD_BENCH=ON and built; MAIL_FOLDER, the messages that are
# measured, is the one of QUZO_CORPUS when it is there, else examples/mail. Exits with 1 when a promised ratio is missed.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
for program in quzo scan_speed notify_speed parts_bench queue_bench object_bench; do
    if [ ! -x "$build/bin/$program" ]; then
        echo "$build/bin/$program is missing: see docs/performance.md" >&2
        exit 66
    fi
done
corpus=$(sed -n 's/^QUZO_CORPUS:PATH=//p' "$build/CMakeCache.txt")
mail=${2:-$corpus/mail}
[ -d "$mail" ] || mail=examples/mail

echo "== machine"
sed -n 's/^model name\s*: //p' /proc/cpuinfo | sort | uniq -c
awk '/^MemTotal/ { printf "%.1f GiB of memory\n", $2 / 1048576 }' /proc/meminfo
uname -sr
echo "load before: $(cut -d' ' -f1-3 /proc/loadavg)"
sed -n 's/^CMAKE_BUILD_TYPE:STRING=/build type: /p' "$build/CMakeCache.txt"

missed=0
echo "== messages through a policy, in memory"
"$build/bin/scan_speed" "$mail" 15 || missed=1
echo "== notifications with a message of 100 KB attached, in memory"
"$build/bin/notify_speed" || missed=1
echo "== a large message"
python3 tests/failure/peak_memory_test.py "$build/bin/quzo" || missed=1
echo "== a folder on disk"
python3 bench/apply_vs_cp.py "$build/bin/quzo" "$mail" 5 "$build"
echo "== one call as a filter"
python3 bench/start_cost.py "$build/bin/quzo"
echo "== parts of the library"
"$build/bin/parts_bench" --benchmark_min_time=0.1 --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
    2>/dev/null | grep -E '^(Benchmark|-|.*_median)'
echo "== long lines of stamps"
"$build/bin/stamp_bench" --benchmark_min_time=0.1 2>/dev/null
echo "== storing into a queue, against a bare loop that writes, syncs and renames the same files"
queue_dir=$(mktemp -d "$build/queue_bench.XXXXXX")
trap 'rm -rf "$queue_dir"' EXIT
"$build/bin/queue_bench" "$queue_dir" 400 8
echo "== reading 10,000 named objects at start, against sqlite3"
"$build/bin/object_bench" || missed=1
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
exit "$missed"
