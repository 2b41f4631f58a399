#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the example firmwares and writes each one's HEX file beside its sources.
#
#   examples/build.sh [blinky|big|all] [--check]
#
# --check leaves the committed HEX files alone and compares them with a fresh build.
# Exit status: 0 done or equal, 1 the build failed or a file differs, 2 wrong command line,
# 77 the tools are not there (ctest counts that as skipped).
set -euo pipefail
# Files are linked in the order of their names, which must not depend on the machine's language.
export LC_ALL=C

readonly packages='clang lld llvm'
# Another compiler is free to choose other instructions, so only this one can judge the files.
readonly clangMajor=14
examplesDir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly examplesDir

usage() {
    echo 'usage: examples/build.sh [blinky|big|all] [--check]' >&2
    exit 2
}

require_tools() {
    local tool
    local missing=()
    for tool in clang ld.lld llvm-objcopy; do
        command -v "$tool" >/dev/null || missing+=("$tool")
    done
    if ((${#missing[@]} > 0)); then
        echo "examples/build.sh: ${missing[*]} not found; apt-get install $packages" >&2
        exit 77
    fi
}

require_judge() {
    local major
    major=$(clang -dumpversion | cut -d. -f1)
    if [[ $major != "$clangMajor" ]]; then
        echo "examples/build.sh: --check needs clang $clangMajor, this is clang $major" >&2
        exit 77
    fi
}

# compile SOURCE OBJECT
compile() {
    clang --target=msp430 -mhwmult=none -std=c11 -Os -ffreestanding -fno-ident \
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror \
        -I"$examplesDir/common" -c "$1" -o "$2"
}

# build NAME OUTPUT_FOLDER; leaves NAME.hex there
build() {
    local name=$1 out=$2 source object
    local objects=()
    for source in "$examplesDir"/common/*.S "$examplesDir/$name"/*.[cS]; do
        object=$out/$name-$(basename "$source").o
        compile "$source" "$object"
        objects+=("$object")
    done
    ld.lld --fatal-warnings -T "$examplesDir/common/firmware.ld" -o "$out/$name.elf" "${objects[@]}"
    # With a start address of 0 no start record is written, which would say nothing to the chip.
    llvm-objcopy -O ihex --set-start=0 "$out/$name.elf" "$out/$name.hex"
}

names=()
check=no
for argument in "$@"; do
    case $argument in
        blinky | big) names+=("$argument") ;;
        all) names+=(blinky big) ;;
        --check) check=yes ;;
        *) usage ;;
    esac
done
((${#names[@]} > 0)) || names=(blinky big)

require_tools
[[ $check == no ]] || require_judge

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

status=0
for name in "${names[@]}"; do
    build "$name" "$out"
    committed=$examplesDir/$name/$name.hex
    if [[ $check == no ]]; then
        install -m 644 "$out/$name.hex" "$committed"
    elif ! cmp -s "$out/$name.hex" "$committed"; then
        echo "examples/$name/$name.hex is not what its sources build; run examples/build.sh $name" >&2
        status=1
    fi
done
exit "$status"
