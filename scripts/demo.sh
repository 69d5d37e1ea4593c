#!/bin/bash
# Installs what quzo needs, builds it, and lets it apply examples/policy.toml to the mail in examples/mail.
# Leaves the program in build/release/bin/quzo and the messages in demo-output/. Quick when run again.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# What was compiled in another checkout counts.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
quzo=build/release/bin/quzo
out=demo-output
build_log=build/demo-build.log

scripts/install_packages

# A terminal sees ninja's progress on one line; anything else gets the log only when the build fails.
build() {
    cmake --preset release >"$build_log" 2>&1 || return 1
    local command=(cmake --build --preset release --parallel "$(nproc)" --target quzo_program)
    if [[ -t 1 ]]; then
        "${command[@]}"
    else
        "${command[@]}" >>"$build_log" 2>&1
    fi
}

mkdir -p build
if [[ ! -x $quzo ]]; then
    echo "Building quzo; the first time takes a few minutes."
fi
if ! build; then
    tail -n 40 "$build_log" >&2
    echo "demo.sh: the build failed; $build_log tells more" >&2
    exit 1
fi

# Its own store and queues: what examples/quzo.ini names stays as it is.
rm -rf "$out"
mkdir -p "$out"
sed -e "s|^store = .*|store = sqlite3://$PWD/$out/objects.db|" -e "s|^spool = .*|spool = $PWD/$out/spool|" \
    examples/quzo.ini >"$out/quzo.ini"
"$quzo" object import examples/objects.toml -c "$out/quzo.ini" >/dev/null
"$quzo" apply -c "$out/quzo.ini" -p examples/policy.toml -o "$out/mail" --json examples/mail >"$out/report.json"

echo
echo "quzo applied examples/policy.toml to the mail in examples/mail:"
echo
python3 - "$out/report.json" <<'PYTHON'
import json, os, sys

FATES = {"delete": "deleted", "quarantine": "quarantined"}
print(f"  {'message':24}{'what became of it':19}by rule: actions")
for line in open(sys.argv[1], encoding="utf-8"):
    message = json.loads(line)
    rules = [f"{rule['name']}: " + ", ".join(action["type"] for action in rule["actions"]) for rule in message["rules"]]
    took = [action["type"] for rule in message["rules"] for action in rule["actions"] if action["consumed"]]
    fate = FATES.get(took[0], took[0]) if took else message["outcome"]
    print(f"  {os.path.basename(message['file']):24}{fate:19}{(rules or ['(no rule matched)'])[0]}")
    for rule in rules[1:]:
        print(f"  {'':43}{rule}")
PYTHON

sample=02-invoice.eml
changes=$(diff -a "examples/mail/$sample" "$out/mail/$sample" | tr -d '\r' || true)
kept=$(($(wc -l <"examples/mail/$sample") - $(grep -c '^<' <<<"$changes" || true)))
echo
echo "What changed in $sample (- before, + after):"
echo
sed -n -e 's/^< /  - /p' -e 's/^> /  + /p' <<<"$changes"
echo "  The other $kept lines are the same, byte for byte."

echo
echo "In the queues, in $out/spool:"
for queue in quarantine archive outgoing; do
    echo
    echo "  quzo queue list -c $out/quzo.ini $queue"
    "$quzo" queue list -c "$out/quzo.ini" "$queue" | sed 's/^/  /'
done
cat <<EOT

Messages that go on: $out/mail      report: $out/report.json
Program: $quzo      try: $quzo apply --help
EOT
