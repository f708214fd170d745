#!/usr/bin/env bash
# Runs the fuzz targets of a fuzz build, each for SECONDS, JOBS at a time.
#
#     fuzz/run.sh BUILD_DIR SECONDS [TARGET...]      (all targets when none is named)
#
# Each target starts from its seeds (prepared once into BUILD_DIR/fuzz-seeds: the drawing
# corpus, the repository's own drawings and shapes, binary DXFs and shape files made from
# them by velko, small TrueType fonts) and from what earlier runs found (BUILD_DIR/fuzz-corpus,
# kept between runs), with the dictionary fuzz/dict/TARGET.dict. A finding (crash, sanitizer
# report, leak, timeout, memory past the bound) is written to fuzz/regressions/TARGET/, where
# velko_fuzz_replay of the test suite runs it from then on; the run then fails.
#
# Environment: VELKO_CORPUS (default ../shared/corpus), FUZZ_JOBS (default: the number of
# processors), FUZZ_TIMEOUT (seconds one input may take, default 10), FUZZ_RSS_MB (memory
# bound, default 2048).
set -uo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
repo="$(dirname "$here")"
if [ $# -lt 2 ]; then
    echo "usage: fuzz/run.sh BUILD_DIR SECONDS [TARGET...]" >&2
    exit 2
fi
build="$(cd "$1" && pwd)"
seconds="$2"
shift 2
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(dwg12 dwg13 dxf_ascii dxf_binary save shx shape_index truetype)
corpus="${VELKO_CORPUS:-$repo/../shared/corpus}"
jobs="${FUZZ_JOBS:-$(nproc 2>/dev/null || echo 2)}"
seeds="$build/fuzz-seeds"
work="$build/fuzz-corpus"
logs="$build/fuzz-logs"
velko="$build/velko"
mkdir -p "$logs"

# Copies the files given into a seed folder.
seed() {
    local folder="$seeds/$1"
    shift
    mkdir -p "$folder"
    for f in "$@"; do
        [ -f "$f" ] && cp -f "$f" "$folder/"
    done
}

is_binary_dxf() { head -c 18 "$1" | grep -q "AutoCAD Binary DXF"; }

prepare_seeds() {
    [ -f "$seeds/.ready" ] && return 0
    echo "fuzz: preparing seeds in $seeds"
    rm -rf "$seeds"
    if [ ! -d "$corpus" ]; then
        echo "fuzz: no drawing corpus at $corpus: the drawing targets start from the repository's own files" >&2
    fi
    seed dwg12 "$corpus"/dwg12/* "$repo"/data/*.dwg
    seed dwg13 "$corpus"/dwg13/*
    local ascii=() binary=()
    for f in "$corpus"/dxf12/* "$corpus"/dxf13/*; do
        [ -f "$f" ] || continue
        if is_binary_dxf "$f"; then binary+=("$f"); else ascii+=("$f"); fi
    done
    seed dxf_ascii "${ascii[@]}"
    seed dxf_binary "${binary[@]}"
    # Binary DXFs written by the library from the small drawings of both releases.
    mkdir -p "$seeds/dxf_binary" "$seeds/dxf_ascii"
    for f in "$corpus"/dwg12/*.DWG "$corpus"/dwg13/example_r13_relaid.dwg "$repo"/data/*.dwg; do
        [ -f "$f" ] || continue
        local name
        name="$(basename "$f")"
        "$velko" convert "$f" "$seeds/dxf_binary/$name.bin.dxf" --binary --quiet >/dev/null 2>&1
        "$velko" convert "$f" "$seeds/dxf_ascii/$name.dxf" --quiet >/dev/null 2>&1
    done
    # The save target starts from the small drawings of every form.
    for f in "$seeds"/dwg12/* "$seeds"/dwg13/* "$seeds"/dxf_ascii/* "$seeds"/dxf_binary/*; do
        [ "$(stat -c %s "$f")" -le 65536 ] && seed save "$f"
    done
    seed save "$corpus"/dwg13/example_r13_relaid.dwg
    # Shape files compiled from the repository's shape sources, and an index of them.
    mkdir -p "$seeds/shx" "$seeds/shape_index"
    local shapes="$repo/tests/data/shapes"
    "$velko" shx compile "$shapes/strokes.shp" "$seeds/shx/STROKES.SHX" >/dev/null 2>&1
    "$velko" shx compile "$shapes/symbols.shp" "$seeds/shx/SYMBOLS.SHX" >/dev/null 2>&1
    "$velko" shx compile "$shapes/unifont.shp" "$seeds/shx/UNIFONT.SHX" --unifont >/dev/null 2>&1
    "$velko" shx compile "$shapes/bigfont.shp" "$seeds/shx/BIGFONT.SHX" --bigfont 081-082 >/dev/null 2>&1
    "$velko" sdx "$seeds/shape_index/VELKO.SDX" "$seeds"/shx/*.SHX >/dev/null 2>&1
    "$velko" sdx "$seeds/shape_index/ONE.SDX" "$seeds/shx/STROKES.SHX" >/dev/null 2>&1
    mkdir -p "$seeds/truetype"
    "$build/velko_fuzz_ttf_seeds" "$seeds/truetype"
    touch "$seeds/.ready"
}

# The dictionary of a target; the save target takes the words of every drawing form.
dictionary_of() {
    local t="$1"
    if [ "$t" = save ]; then
        cat "$here"/dict/dwg12.dict "$here"/dict/dwg13.dict "$here"/dict/dxf_ascii.dict \
            >"$build/fuzz-save.dict"
        echo "$build/fuzz-save.dict"
    else
        echo "$here/dict/$t.dict"
    fi
}

# Inputs longer than this are cut: the large corpus DXFs would slow every run down.
max_len_of() {
    case "$1" in
    dwg13) echo 600000 ;;
    shx | shape_index | truetype) echo 65536 ;;
    *) echo 262144 ;;
    esac
}

run_one() {
    local t="$1"
    mkdir -p "$work/$t" "$here/regressions/$t"
    "$build/velko_fuzz_$t" -max_total_time="$seconds" -timeout="${FUZZ_TIMEOUT:-10}" \
        -rss_limit_mb="${FUZZ_RSS_MB:-2048}" -max_len="$(max_len_of "$t")" \
        -dict="$(dictionary_of "$t")" -artifact_prefix="$here/regressions/$t/" \
        -print_final_stats=1 -close_fd_mask=1 \
        "$work/$t" "$seeds/$t" >"$logs/$t.log" 2>&1
    echo $? >"$logs/$t.status"
}

# One line per target: its result and libFuzzer's last figures.
summary_of() {
    local t="$1" status="$2" log="$logs/$1.log"
    local last execs
    last="$(grep -E '^#[0-9]+' "$log" | tail -1)"
    execs="$(grep -E 'stat::number_of_executed_units' "$log" | awk '{print $2}')"
    local per_s
    per_s="$(grep -E 'exec/s:' "$log" | tail -1 | sed -E 's/.*exec\/s: ([0-9]+).*/\1/')"
    local cov ft corp
    cov="$(echo "$last" | sed -nE 's/.*cov: ([0-9]+).*/\1/p')"
    ft="$(echo "$last" | sed -nE 's/.*ft: ([0-9]+).*/\1/p')"
    corp="$(echo "$last" | sed -nE 's/.*corp: ([0-9]+\/[0-9A-Za-z]+).*/\1/p')"
    printf 'fuzz: %-12s %-8s %10s runs %7s exec/s  edges %6s  features %6s  corpus %s\n' \
        "$t" "$status" "${execs:-?}" "${per_s:-?}" "${cov:-?}" "${ft:-?}" "${corp:-?}"
}

for t in "${targets[@]}"; do
    if [ ! -x "$build/velko_fuzz_$t" ]; then
        echo "fuzz: no fuzzer $build/velko_fuzz_$t (build with VELKO_FUZZ=ON)" >&2
        exit 2
    fi
done
prepare_seeds

echo "fuzz: ${#targets[@]} targets, $seconds s each, $jobs at a time; logs in $logs"
failed=0
running=0
for t in "${targets[@]}"; do
    rm -f "$logs/$t.status"
    run_one "$t" &
    running=$((running + 1))
    if [ "$running" -ge "$jobs" ]; then
        wait -n
        running=$((running - 1))
    fi
done
wait
for t in "${targets[@]}"; do
    if [ "$(cat "$logs/$t.status" 2>/dev/null)" = 0 ]; then
        summary_of "$t" ok
    else
        summary_of "$t" FINDING
        failed=1
        echo "fuzz: $t found a problem; its input is in fuzz/regressions/$t/ and its log follows" >&2
        grep -E 'ERROR|SUMMARY|Test unit written|^    #[0-9]+ ' "$logs/$t.log" | head -40 >&2
    fi
done
exit $failed
