#!/bin/sh
# Runs a Windows program as a test: wine-run.sh WINE PROGRAM [arguments]
#
# What Wine starts beside a program (the host of a console, the desktop) inherits its output and outlives it. On a pipe that
# would keep the reader waiting after the program's end; so the output goes to a file, and is shown afterwards. For the
# same reason a program that does not end is ended here, a little before ctest would (VEL_TEST_LIMIT, in seconds): its
# output is shown then too.
output=$(mktemp -t vel-wine-output.XXXXXX)
timeout --kill-after=2 $((${VEL_TEST_LIMIT:-605} - 5)) "$@" >"$output" 2>&1
status=$?
cat "$output"
rm -f "$output"
[ "$status" -ne 124 ] || echo "The program did not end in time."
exit "$status"
