#!/usr/bin/env bash
# Mutation testing: does the test suite notice when the code is wrong?
#
# Each line of scripts/mutants.list names a file, an exact text in it and a replacement, tab
# separated. Two optional columns follow: the test binaries to run (name prefixes separated by
# spaces; empty or "-" for the folder's default) and a gtest filter (empty or "-" for the default
# filter below, "*" for every test). Every mutation is applied alone to a scratch copy of the
# tree, only the test binaries it can affect are built, and they run, the fastest first: a failing
# or hanging test kills the mutation, a green run means it survived. A mutation whose text is not
# found exactly once is STALE, one that does not compile is INVALID; neither is scored.
#
#   bash scripts/mutants.sh                 # every mutation
#   bash scripts/mutants.sh id3 ogg         # only those whose file path contains one of the words
#
# Environment:
#   KESTRABEL_MUTANTS_DIR     scratch copy and its build (default /tmp/kestrabel-mutants); the first
#                             run configures and builds it, later runs rebuild what a mutation touches
#   KESTRABEL_MUTANT_TIMEOUT  seconds one test binary may run before the mutation counts as killed
#                             by a hang (default 240)
#   KESTRABEL_MUTANT_FILTER   the default gtest filter; by default the tests that run peer tools
#                             (the interop profile, the audio figures against ffprobe) are left out,
#                             since they take minutes and the fast tests see the same faults
set -uo pipefail
cd "$(dirname "$0")/.."
root=$PWD
list=$root/scripts/mutants.list
work=${KESTRABEL_MUTANTS_DIR:-/tmp/kestrabel-mutants}
timeout_s=${KESTRABEL_MUTANT_TIMEOUT:-240}
default_filter=${KESTRABEL_MUTANT_FILTER:--*InteropProfile*:AudioProperties.*}
build=$work/src/build

# The test binaries that can see a change in each source folder, as name prefixes. The contract
# suite runs every kind through the whole library, so it stands behind every tag-library folder.
default_tests() {
    case "$1" in
        taglib/id3/*) echo "id3_ contract_" ;;
        taglib/mp4/*) echo "mp4_ contract_" ;;
        taglib/iff/*) echo "iff_ contract_" ;;
        taglib/ogg/*) echo "ogg_ vorbis_comment contract_" ;;
        taglib/flac/*) echo "ogg_ vorbis_comment contract_" ;;
        taglib/exif/*) echo "exif_ contract_" ;;
        taglib/util/*) echo "util_ contract_" ;;
        taglib/core/*) echo "core_ contract_ cli_" ;;
        cli/*) echo "cli_ id3_ iff_cli mp4_ objects_" ;;
        objects/*) echo "objects_" ;;
        player/*) echo "player_tests" ;;
        app/*) echo "app_widget_ app_x11_" ;;
        *) echo "" ;;
    esac
}

selected() {
    [ $# -gt 1 ] || return 0
    local file=$1 word
    shift
    for word in "$@"; do [[ "$file" == *"$word"* ]] && return 0; done
    return 1
}

# Rows of the list as "file<TAB>from<TAB>to<TAB>tests<TAB>filter", comments and blanks dropped.
rows() { grep -v -e '^#' -e '^[[:space:]]*$' "$list"; }

echo "mutants: copying the tree to $work/src" >&2
mkdir -p "$work/src"
# Only files whose bytes differ are written (with a new time, so the build takes them), and files
# gone from the tree are removed: a mutant left behind by an interrupted run is put right.
python3 - "$root" "$work/src" <<'PY' || exit 2
import os, shutil, sys
root, copy = sys.argv[1:3]

def walk(top):
    for folder, dirs, files in os.walk(top):
        rel = os.path.relpath(folder, top)
        if rel == ".":
            dirs[:] = [d for d in dirs if d != ".git" and not d.startswith("build")]
        for name in files:
            yield os.path.normpath(os.path.join(rel, name))

wanted = set()
for rel in walk(root):
    wanted.add(rel)
    source, target = os.path.join(root, rel), os.path.join(copy, rel)
    with open(source, "rb") as f:
        data = f.read()
    try:
        with open(target, "rb") as f:
            if f.read() == data:
                continue
    except OSError:
        pass
    os.makedirs(os.path.dirname(target), exist_ok=True)
    with open(target, "wb") as f:
        f.write(data)
    shutil.copymode(source, target)
for rel in list(walk(copy)):
    if rel not in wanted:
        os.remove(os.path.join(copy, rel))
PY
# Relative paths from the build folder, as in a worktree's own build/, so ccache serves the
# first build from what the worktrees already compiled.
export CCACHE_BASEDIR=$work
if [ ! -f "$build/build.ninja" ]; then
    cmake -S "$work/src" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null || exit 2
fi
# The copy's CMake files may have changed since the last run.
ninja -C "$build" build.ninja </dev/null >/dev/null || exit 2
all_targets=$(ninja -C "$build" -t targets all | sed -n 's|^tests/[^/]*/\([A-Za-z0-9_]*_tests\): .*|\1|p' | sort -u)

targets_for() { # prefixes -> target names
    local prefix t
    for prefix in $1; do
        for t in $all_targets; do [[ "$t" == "$prefix"* ]] && echo "$t"; done
    done | sort -u
}
filter_for() { case "${1:-}" in ''|-) echo "$default_filter" ;; *) echo "$1" ;; esac; }
tests_for() { case "${2:-}" in ''|-) default_tests "$1" ;; *) echo "$2" ;; esac; }
binary_for() { find "$build/tests" -maxdepth 2 -type f -name "$1" -perm -u+x | head -n 1; }

# Every (binary, filter) pair the chosen rows need, run once on the unmutated tree: a pair that
# fails there would kill every mutation and say nothing, so it is left out, loudly.
declare -A baseline_seconds=()
pairs=()
while IFS=$'\t' read -r file from to tests filter; do
    selected "$file" "$@" || continue
    for t in $(targets_for "$(tests_for "$file" "${tests:-}")"); do pairs+=("$t|$(filter_for "${filter:-}")"); done
done < <(rows)
mapfile -t pairs < <(printf '%s\n' "${pairs[@]}" | sort -u)
mapfile -t needed < <(printf '%s\n' "${pairs[@]}" | cut -d'|' -f1 | sort -u)
echo "mutants: building ${#needed[@]} test binaries on the unmutated tree" >&2
ninja -C "$build" "${needed[@]}" </dev/null >/dev/null || { echo "mutants: the unmutated tree does not build" >&2; exit 2; }

run_binary() { # target filter -> exit status (124 on a hang)
    local bin
    bin=$(binary_for "$1")
    [ -n "$bin" ] || return 0
    (cd "$(dirname "$bin")" && timeout "$timeout_s" "$bin" --gtest_brief=1 --gtest_filter="$2" </dev/null >/dev/null 2>&1)
}

baseline() { # target filter -> 0 when green, recording its duration
    local key="$1|$2" start end
    if [ -z "${baseline_seconds[$key]+x}" ]; then
        start=$(date +%s%N)
        if run_binary "$1" "$2"; then
            end=$(date +%s%N)
            baseline_seconds[$key]=$(((end - start) / 1000000))
        else
            baseline_seconds[$key]=red
            echo "mutants: $1 (filter $2) fails on the unmutated tree; left out" >&2
        fi
    fi
    [ "${baseline_seconds[$key]}" != red ]
}

echo "mutants: running them once on the unmutated tree" >&2
for pair in "${pairs[@]}"; do baseline "${pair%%|*}" "${pair#*|}" </dev/null; done

killed=0 survived=0 unscored=0 n=0
declare -a survivors=()
while IFS=$'\t' read -r file from to tests filter; do
    selected "$file" "$@" || continue
    n=$((n + 1))
    label="$file: '$from' -> '$to'"
    src="$work/src/$file"
    filter=$(filter_for "${filter:-}")
    count=$(python3 -c 'import sys; print(open(sys.argv[1], encoding="utf-8").read().count(sys.argv[2]))' "$src" "$from" 2>/dev/null || echo 0)
    if [ "$count" != 1 ]; then
        echo "STALE     $label (found $count times)"
        unscored=$((unscored + 1))
        continue
    fi
    # Green binaries only, the fastest first, so that a kill usually costs seconds.
    timed=()
    for t in $(targets_for "$(tests_for "$file" "${tests:-}")"); do
        [ "${baseline_seconds[$t|$filter]:-red}" != red ] && timed+=("${baseline_seconds[$t|$filter]} $t")
    done
    mapfile -t chosen < <(printf '%s\n' "${timed[@]}" | sort -n | awk 'NF == 2 { print $2 }')
    cp -p "$src" "$src.orig"
    python3 - "$src" "$from" "$to" <<'EOF'
import sys
path, old, new = sys.argv[1:4]
text = open(path, encoding="utf-8").read()
open(path, "w", encoding="utf-8").write(text.replace(old, new, 1))
EOF
    # Each binary is built just before it runs: a mutation the first one kills costs one link.
    verdict=SURVIVED
    [ ${#chosen[@]} -eq 0 ] && verdict=INVALID
    for t in "${chosen[@]}"; do
        if ! ninja -C "$build" "$t" </dev/null >/dev/null 2>&1; then
            verdict=INVALID
            break
        fi
        run_binary "$t" "$filter"
        rc=$?
        if [ $rc -ne 0 ]; then
            verdict=KILLED
            [ $rc -eq 124 ] && label="$label (hang)"
            label="$label [$t]"
            break
        fi
    done
    mv "$src.orig" "$src"
    # Newer than every object built from the mutant, so the next build takes the original again.
    touch "$src"
    case "$verdict" in
        KILLED) killed=$((killed + 1)) ;;
        SURVIVED) survived=$((survived + 1)); survivors+=("$label") ;;
        *) unscored=$((unscored + 1)) ;;
    esac
    printf '%-9s %s\n' "$verdict" "$label"
done < <(rows)

scored=$((killed + survived))
echo
echo "mutants: $n tried, $killed killed, $survived survived, $unscored not scored (stale or not compiling)"
[ $scored -gt 0 ] && awk -v k=$killed -v s=$scored 'BEGIN { printf "mutants: kill rate %.1f%% (%d of %d)\n", 100 * k / s, k, s }'
for s in "${survivors[@]}"; do echo "  survived: $s"; done
exit 0
