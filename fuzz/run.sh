#!/usr/bin/env bash
# Runs every fuzz target for SECONDS each from its seed corpus: fuzz/run.sh SECONDS BUILD_DIR [TARGET...]
# New inputs go to a scratch corpus, so the committed seeds stay small.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
build=${2:-build-fuzz}
shift 2 || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  mapfile -t targets < <(find "$build/fuzz" -maxdepth 1 -type f -name 'fuzz_*' -executable -printf '%f\n' | sort)
fi
failed=0
passed=0
for target in "${targets[@]}"; do
  name=${target#fuzz_}
  seeds=fuzz/corpus/$name
  scratch=$(mktemp -d)
  dict=()
  [ -f "fuzz/dict/$name.dict" ] && dict=(-dict="fuzz/dict/$name.dict")
  corpora=("$scratch")
  [ -d "$seeds" ] && corpora+=("$seeds")
  [ -d fuzz/regressions/$name ] && corpora+=("fuzz/regressions/$name")
  echo "fuzz: $target for ${seconds}s"
  if ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
     "$build/fuzz/$target" -max_total_time="$seconds" -max_len=65536 -rss_limit_mb=2048 -timeout=20 \
       -print_final_stats=0 -artifact_prefix="$scratch/" "${dict[@]}" "${corpora[@]}" >"$scratch/log" 2>&1; then
    passed=$((passed + 1))
    grep -E '^#[0-9]+.*DONE' "$scratch/log" | tail -1 || true
    rm -rf "$scratch"
  else
    failed=$((failed + 1))
    tail -60 "$scratch/log"
    echo "fuzz: $target FAILED; artifacts in $scratch" >&2
  fi
done
echo "fuzz: ${passed} passed, ${failed} failed"
[ "$failed" -eq 0 ]
