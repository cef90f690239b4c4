#!/bin/sh
# Instructions per evaluation of each row, counted by valgrind's callgrind:
# the same measure on every run, where times on a shared machine vary.
# Usage: bench/instructions.sh [BUILD_DIR]   (default build-bench)
set -eu
loop="${1:-build-bench}/bench/bench_loop"
count=10000
instructions() {
  valgrind --tool=callgrind --callgrind-out-file=/dev/null "$loop" "$1" "$2" 2>&1 |
    sed -n 's/.*Collected : \([0-9]*\).*/\1/p'
}
for row in E1 E2 E3 E4 E5 E6 E7 S1 A1; do
  base=$(instructions "$row" 0)
  total=$(instructions "$row" "$count")
  echo "$row $(( (total - base) / count ))"
done
