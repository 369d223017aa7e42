#!/bin/sh
# Runs one filter through qvl with one allocation of 1 KiB or more made to
# fail: the first such allocation of the run, then the second, and so on
# until a run no longer reaches the one to fail. Every run must end by
# itself: with success, or with status 1 or 2 and a last line on standard
# error from qvl ("qvl: out of memory", or a documented failure such as
# "cannot read image" when libgd finds no memory to read the picture), never
# by a signal or an abort.
#
# usage: allocation_sweep.sh QVL SHIM PICTURE STORAGE METHOD [ARGUMENT...]
set -u
qvl=$1
shim=$2
picture=$3
storage=$4
method=$5
shift 5
work=$(mktemp -d "${TMPDIR:-/tmp}/qvl-sweep-XXXXXX")
trap 'rm -rf "$work"' EXIT
ulimit -c 0
failures=0

# Whether the last line of the run's standard error comes from qvl.
ends_with_qvl_line() {
  last=
  while IFS= read -r line; do last=$line; done <"$work/stderr"
  case $last in "qvl: "*) return 0 ;; esac
  return 1
}

# Runs n = 1, 2, ...; the shim writes to $work/reached when it refused an
# allocation, and a run that leaves it empty ends the sweep.
n=1
while :; do
  : >"$work/reached"
  QVL_FAIL_ALLOCATION=$n QVL_FAIL_REPORT="$work/reached" LD_PRELOAD="$shim" \
    "$qvl" --storage "$storage" "$method" "$picture" "$@" -o "$work/out.png" >/dev/null 2>"$work/stderr"
  status=$?
  if [ "$status" -ne 0 ] && ! { [ "$status" -le 2 ] && ends_with_qvl_line; }; then
    echo "allocation $n failing: qvl --storage $storage $method $* ended with status $status:"
    sed 's/^/  /' "$work/stderr"
    failures=$((failures + 1))
  fi
  [ -s "$work/reached" ] || break
  n=$((n + 1))
done

if [ "$n" -eq 1 ]; then
  echo "no allocation was refused: the shim is not preloaded"
  exit 1
fi
echo "$n runs, $failures ended by a signal, an abort or an unexpected status"
[ "$failures" -eq 0 ]
