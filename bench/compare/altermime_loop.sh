#!/bin/sh
# The jobs of the comparison by altermime, which takes one message a call and changes its file in place.
#
#     altermime_loop.sh stamp|strip MAIL OUT
#
# Where altermime leaves files of its own, in the folder it is called in, is the caller's to remove. Its exit code
# tells nothing of use: it is 0 for messages that it could not change, and others beside that.
set -u
here=$(cd "$(dirname "$0")" && pwd)
job=$1
mkdir "$3"
cp "$2"/* "$3"
chmod u+w "$3"/*
for message in "$3"/*; do
    if [ "$job" = stamp ]; then
        altermime --input="$message" --alter-header=Subject --alter-with='[checked] ' --alter-mode=prefix \
            --xheader='X-Scanned: yes' --disclaimer="$here/disclaimer.txt" \
            --disclaimer-html="$here/disclaimer.html" --force-into-b64 --force-for-bad-html
    else
        altermime --input="$message" --removeall
    fi
done >/dev/null 2>&1
