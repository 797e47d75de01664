#!/usr/bin/env bash
# Prints the version of clang, lld and llvm that the sources are built with for Windows and for fuzzing: the newest of
# which all three are there. Ends with 1 when there is none.
#   llvm_version.sh installed    of those on this machine
#   llvm_version.sh available    of those that apt knows. What only a security archive has does not count: it came with a
#                                new version of a browser and goes with the next one.
set -euo pipefail

# has() ends with 0 when everything of one version is there; `names` has those of programs or packages.
if [[ $1 == installed ]]; then
    has() { command -v "clang++-$1" && command -v "ld.lld-$1" && command -v "llvm-pdbutil-$1"; }
    names=$(compgen -c clang- || true)
else
    has() {
        local package
        for package in clang lld llvm; do
            apt-cache madison "$package-$1" | awk '$6 !~ /-security\//' | grep . || return
        done
    }
    names=$(apt-cache pkgnames clang-)
fi
for version in $(sed -nE 's/^clang-([0-9]+)$/\1/p' <<<"$names" | sort -rnu); do
    if has "$version" >/dev/null 2>&1; then
        echo "$version"
        exit
    fi
done
exit 1
