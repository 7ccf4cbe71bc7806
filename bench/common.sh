# Shared pieces of the benchmarks: the corpus, and timing a command several times.
bench_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
corpus=${KESTRELIA_CORPUS:-/tmp/kbench}
runs=${KESTRELIA_BENCH_RUNS:-3}

# Builds the shared corpus once; later runs reuse it.
bench_corpus() {
  if [ ! -f "$corpus/corpus.txt" ]; then
    echo "== building the benchmark corpus in $corpus (about 80 s, 2.2 GB)"
    bash "$bench_root/../shared/bench/make_corpus.sh" "$corpus" >/dev/null
  fi
}

# bench_engine TARGET: the corpus, a release build of one engine tool, a resident wineserver
# (stopped by the caller's exit trap).
bench_engine() {
  source "$bench_root/scripts/lib.sh"
  bench_corpus
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DKESTRELIA_DEPS="$KESTRELIA_DEPS" >/dev/null
  cmake --build "$build" -j2 --target "$1" >/dev/null
  kestrelia_wine_up
}

now() { date +%s.%N; }

# median_of SECONDS...: the middle value.
median_of() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }

# seconds_since T0: the seconds from T0 (taken with now) until now.
seconds_since() { awk -v a="$1" -v b="$(now)" 'BEGIN{printf "%.3f", b-a}'; }

# report NAME SECONDS...: prints the runs' median beside the runs and returns it in $median.
report() {
  local name=$1; shift
  median=$(median_of "$@")
  printf '%-28s %8.3f s   (runs: %s)\n' "$name" "$median" "$*"
}

# bench_time NAME COMMAND...: runs the command $runs times, prints and returns (in $median)
# the median wall time. $bench_prepare, when set, names a command run before each run, untimed.
bench_time() {
  local name=$1; shift
  local times=() t0
  for _ in $(seq "$runs"); do
    ${bench_prepare:-}
    t0=$(now); "$@" >/dev/null 2>&1
    times+=("$(seconds_since "$t0")")
  done
  report "$name" "${times[@]}"
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN{printf "%.2f", a/b}'; }

# bench_bsdtar_exe: a Windows bsdtar.exe for the bench only (the fair peer under Wine), built
# once per build tree from the libarchive sources and the library the build cached; sets
# $bsdtar_exe.
bench_bsdtar_exe() {
  bsdtar_exe=$build/bench/bsdtar.exe
  [ -f "$bsdtar_exe" ] && return 0
  cmake --build "$build" -j2 --target libarchive_built bzip2 >/dev/null
  local built src codecs
  # The newest builds: libarchive's filters link the codec libraries of the build.
  built=$(ls -td "$KESTRELIA_DEPS"/built/libarchive-*/ | head -1)
  codecs=$(ls -td "$KESTRELIA_DEPS"/built/xz-utils-*/ | head -1)
  src=$(cat "$KESTRELIA_DEPS/libarchive.dir")
  echo "== building bsdtar.exe for Windows"
  mkdir -p "$build/bench"
  x86_64-w64-mingw32-gcc-posix -O2 -static -DLIBARCHIVE_STATIC -DHAVE_CONFIG_H -I"$built" -I"$built/include" \
    -I"$src/libarchive" -I"$src/libarchive_fe" -I"$src/tar" -o "$bsdtar_exe" \
    "$src"/tar/{bsdtar,cmdline,creation_set,read,subst,util,write,bsdtar_windows}.c \
    "$src"/libarchive_fe/{err,line_reader,passphrase}.c \
    "$built/lib/libarchive.a" "$build/libbzip2.a" "$codecs"/lib/{liblzma,libzstd,liblz4}.a -lz -lbcrypt -w
}

# The benchmarks of one archive kind against its peers. bench_kind_scratch NAME makes $out
# (under KESTRELIA_BENCH_SCRATCH when set: a memory file system keeps the disk's journal from
# adding seconds at random) and empties $out/d, untimed, before every timed run.
bench_kind_scratch() {
  out=$(mktemp -d "${KESTRELIA_BENCH_SCRATCH:-$corpus}/$1.XXXX")
  bench_prepare=bench_fresh
}
bench_fresh() { rm -rf "$out/d" && mkdir -p "$out/d" && sync; }
w() { winepath -w "$1"; }

# engine_list / engine_extract ARCHIVE through the engine tool $engine (bench/tools) under
# Wine; its in-process times go to $out/engine.log.
engine_list() { wine "$build/bin/$engine.exe" list "$(w "$1")" >>"$out/engine.log" 2>&1; }
engine_extract() { wine "$build/bin/$engine.exe" extract "$(w "$1")" "$(w "$out/d")" >>"$out/engine.log" 2>&1; }

# bench_kind MANY BIG LABEL PEER=NAME...: for each part of KESTRELIA_BENCH_ONLY ("list big
# many" by default: listing MANY, extracting BIG, extracting MANY) times every peer's
# PEER_list or PEER_extract (into $out/d), then the engine's under LABEL, and prints the
# engine's ratio to each peer.
bench_kind() {
  local many=$1 big=$2 label=$3 part archive what peer k i
  shift 3
  for part in ${KESTRELIA_BENCH_ONLY:-list big many}; do
    case $part in
      list) archive=$many; what=list ;;
      big) archive=$big; what=extract ;;
      many) archive=$many; what=extract ;;
    esac
    echo "== $what $(basename "$archive")"
    : >"$out/engine.log"
    local times=()
    for peer in "$@"; do
      bench_time "${peer#*=}" "${peer%%=*}_$what" "$archive"
      times+=("$median")
    done
    bench_time "$label" engine_$what "$archive"
    k=$median
    grep -a "^$what" "$out/engine.log" | tail -"$runs" || true
    i=0
    for peer in "$@"; do
      printf 'ratio engine / %-20s %s\n' "${peer#*=}:" "$(ratio "$k" "${times[$i]}")"
      i=$((i + 1))
    done
  done
}
