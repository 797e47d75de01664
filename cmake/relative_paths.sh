#!/usr/bin/env bash
# Runs a compiler or linker with files and include folders of this checkout as relative paths, so that what it writes does
# not depend on where the checkout lies:
#   relative_paths.sh FOLDER COMMAND [ARGUMENT...]
set -eu
folder=$1
shift
# A compiler cache keeps what was compiled with a precompiled header only where it may.
export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros}
# It compares all of a file, comments too: symbols hold the files' sums.
export CCACHE_DEPEND=1
# A precompiled header holds the folder that it was made in, and serves no other.
[[ $* != *-emit-pch* ]] || export CCACHE_DISABLE=1
relative=$(realpath --relative-to=. "$folder")
arguments=("${@/#$folder/$relative}")
exec "${arguments[@]/#-I$folder/-I$relative}"
