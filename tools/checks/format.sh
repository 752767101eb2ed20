#!/usr/bin/env bash
# Fails when a C++ file is not laid out as .clang-format says.
#   tools/checks/format.sh         tells the places
#   tools/checks/format.sh --fix   lays the files out
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
mode=(--dry-run -Werror)
[[ ${1-} != --fix ]] || mode=(-i)
mapfile -t files < <(git ls-files --cached --others --exclude-standard -- '*.cpp' '*.hpp')
((${#files[@]})) || { echo "format: no files found" >&2; exit 1; }
existing=()
for file in "${files[@]}"; do [[ ! -f $file ]] || existing+=("$file"); done
lay_out() { printf '%s\0' "${existing[@]}" | xargs -0 -n 40 -P "$(nproc)" clang-format-16 "${mode[@]}"; }

if ! output=$(lay_out 2>&1); then
    # The first place of each file is enough.
    grep -E '^[^:]+:[0-9]+:[0-9]+: error' <<<"$output" | sort -t: -k1,1 -u | cut -d: -f1,2 |
        sed 's/$/: not laid out as .clang-format says/' || printf '%s\n' "$output"
    echo "format: run tools/checks/format.sh --fix"
    exit 1
fi
echo "format: ${#existing[@]} files are laid out as .clang-format says"
