# Read by the tests beside it: where the examples are, where to build them, and what each of them has to write.
#
# QUZO_EXAMPLES names another folder of them, for an installation that is not the package's.
examples=${QUZO_EXAMPLES:-/usr/share/doc/libquzo-dev/examples/library}
if [ -n "${AUTOPKGTEST_TMP:-}" ]; then
    work=$AUTOPKGTEST_TMP
else
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
fi

# check NAME PROGRAM FIELDS [ARGUMENT...]: PROGRAM, given a message, writes it with these fields behind its From.
check() {
    name=$1 program=$2 fields=$3
    shift 3
    printf 'From: a@example.org\n%b\n\nbody\n' "$fields" >"$work/$name.expected"
    printf 'From: a@example.org\nSubject: hello\n\nbody\n' | "$program" "$@" >"$work/$name.eml"
    diff -u "$work/$name.expected" "$work/$name.eml"
    echo "$name: as expected"
}

# check_all FOLDER: the three programs, FOLDER/NAME/NAME.
check_all() {
    check action "$1/action/action" 'Subject: [list] hello\nX-Seen: from alice@example.org: [list] hello'
    check platform "$1/platform/platform" 'Subject: [own] hello' '[own] '
    check host "$1/host/host" 'Subject: hello\nX-Scanned: yes' "$work/spool"
}
