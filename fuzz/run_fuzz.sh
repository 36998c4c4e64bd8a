#!/usr/bin/env bash
# Runs every fuzz target built in BUILD for SECONDS each and prints, per
# target, the inputs executed and the findings. Seeds come from tests/data/
# (by the patterns below) and, where that has none, from small streams made
# here. Each target keeps its growing corpus in BUILD/fuzz/corpus/<target> and
# its crash, leak, timeout and out-of-memory inputs in BUILD/fuzz/findings/<target>.
# Names after SECONDS limit the run to those targets. Exits 1 when any target
# found something.
set -uo pipefail

build=${1:?usage: run_fuzz.sh BUILD SECONDS [TARGET...]}
seconds=${2:-60}
shift 2 || shift $#
root=$(cd "$(dirname "$0")/.." && pwd)
data=$root/tests/data
work=$build/fuzz

# Files of tests/data/ that seed each target.
declare -A seed_patterns=(
  [y4m_reader_fuzz]="*.y4m"
  [audio_headers_fuzz]="*.ac3 *.eac3 *.dts *.mp2 *.mp3 *.adts *.latm"
  [probe_fuzz]="*.ac3 *.eac3 *.dts *.mp2 *.mp3 *.adts *.latm"
  [tool_commands_fuzz]="*.y4m *.ac3 *.mp2 *.adts *.latm *.302m *.wav"
  [s302m_fuzz]="*.302m"
  [hot_spot_fuzz]="*.xml"
  [xml_node_fuzz]="*.xml"
)

# Options of a target beyond the common ones.
declare -A target_options=(
  [audio_headers_fuzz]="-max_len=2048"  # every offset is a header candidate: short inputs run faster
)

quiet_ffmpeg() { ffmpeg -hide_banner -loglevel error -nostdin -y "$@"; }

# The first AudioMuxElements of a LOAS file, each behind the mode byte of
# latm_fuzz (2: configuration in band), and its AudioSpecificConfig form (1).
latm_elements() {
  local file=$1 dir=$2 offset=0 count=0 size header length
  size=$(stat -c %s "$file")
  while [ $((offset + 3)) -le "$size" ] && [ $count -lt 4 ]; do
    read -r -a header < <(od -An -tu1 -j "$offset" -N 3 "$file")
    length=$(( ((header[1] & 31) << 8) | header[2] ))
    { printf '\002'; tail -c +$((offset + 4)) "$file" | head -c "$length"; } >"$dir/$(basename "$file").$count"
    offset=$((offset + 3 + length))
    count=$((count + 1))
  done
  printf '\001\021\220' >"$dir/asc-aac-lc-48k-stereo"
  printf '\001\053\222\010\000' >"$dir/asc-he-aac-24k-stereo"
}

# Seeds made for what tests/data/ has none of, and in a target's own format.
generate_seeds() {
  local target=$1 dir=$2
  case $target in
    y4m_reader_fuzz | tool_commands_fuzz)
      [ -n "$(find "$dir" -name '*.y4m')" ] && return
      quiet_ffmpeg -f lavfi -i testsrc=size=32x16:rate=25 -frames:v 2 -pix_fmt yuv420p -vf setfield=tff "$dir/420i.y4m"
      quiet_ffmpeg -f lavfi -i testsrc=size=16x8:rate=25 -frames:v 2 -pix_fmt yuv420p "$dir/420.y4m"
      quiet_ffmpeg -f lavfi -i testsrc=size=7x5:rate=30000/1001 -frames:v 1 -pix_fmt yuv422p "$dir/422.y4m"
      quiet_ffmpeg -f lavfi -i testsrc=size=8x4:rate=25 -frames:v 1 -pix_fmt yuv444p -vf setfield=tff "$dir/444.y4m"
      ;;
    limiter_fuzz)
      # Settings (ceiling, threshold, rate, attack, release), then frames: a kind
      # byte (0 flush, 1 PCM, 2 302M), time stamp, channels, sample size, length.
      local settings='\001\005\000\005\062'
      printf "$settings"'\001\000\000\000\000\002\001\000\000\020\000\001\000\000\000\001\002\001\000\000\100\000\000' \
        >"$dir/pcm-stereo"
      printf "$settings"'\001\000\000\000\000\001\001\000\000\377\377\000\003\000\000\000\000\000\001\000' \
        >"$dir/pcm-mono-and-other"
      for file in "$data"/*.302m "$data"/*/*.302m; do
        [ -f "$file" ] || continue
        { printf "$settings"'\002\000\000\000\000\002\001'; cat "$file"; } >"$dir/$(basename "$file")"
      done
      ;;
    hot_spot_fuzz | xml_node_fuzz)
      # Hot spot files as the tool writes them, from a small picture.
      quiet_ffmpeg -f lavfi -i testsrc=size=24x10:rate=25 -frames:v 1 -pix_fmt yuv420p "$dir/reference.y4m"
      "$build/bin/corvane" hotspot save "$dir/reference.y4m" --area 0,0,8,4:1,1,5,3 --area 4,2,24,10 \
        -o "$dir/spot.xml" >/dev/null 2>&1
      "$build/bin/corvane" hotspot save "$dir/reference.y4m" -o "$dir/no-areas.xml" >/dev/null 2>&1
      rm -f "$dir/reference.y4m"
      ;;
    startup_files_fuzz)
      printf 'organization=Org\r\napplication=App\nlp=7\n' >"$dir/redirect.ini"
      printf '; settings\n[StartUp]\nLanguageCode = DEU\n[Other]\nx=1\n' >"$dir/registry.ini"
      ;;
  esac
}

collect_seeds() {
  local target=$1 dir=$2 pattern file patterns
  rm -rf "$dir" && mkdir -p "$dir"
  read -r -a patterns <<<"${seed_patterns[$target]:-}"  # read, so that the patterns are not expanded here
  if [ "$target" = latm_fuzz ]; then
    for file in "$data"/*/*.latm "$data"/*.latm; do
      [ -f "$file" ] && latm_elements "$file" "$dir"
    done
  fi
  for pattern in "${patterns[@]}"; do
    for file in "$data"/$pattern "$data"/*/$pattern; do
      [ -f "$file" ] && cp "$file" "$dir/"
    done
  done
  generate_seeds "$target" "$dir"
  ls -A "$dir" | wc -l
}

shopt -s nullglob
if [ $# -gt 0 ]; then
  targets=()
  for name in "$@"; do targets+=("$build/bin/$name"); done
else
  targets=("$build"/bin/*_fuzz)
fi
[ ${#targets[@]} -eq 0 ] && { echo "run_fuzz: no fuzz targets in $build/bin" >&2; exit 2; }

total_findings=0
summary=()
for binary in "${targets[@]}"; do
  target=$(basename "$binary")
  corpus=$work/corpus/$target
  findings=$work/findings/$target
  seeds=$work/seeds/$target
  log=$work/logs/$target.log
  mkdir -p "$corpus" "$findings" "$(dirname "$log")"
  seed_count=$(collect_seeds "$target" "$seeds")
  before=$(ls -A "$findings" | wc -l)
  echo "== $target: ${seconds}s from $seed_count seeds"
  # Fork mode with the ignore flags goes on after a finding, so one run counts all of them.
  "$binary" "$corpus" "$seeds" -fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1 \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=3072 -artifact_prefix="$findings/" \
    -print_final_stats=1 ${target_options[$target]:-} >"$log" 2>&1
  executions=$(grep -oE '^#[0-9]+' "$log" | tail -n 1 | tr -d '#')
  found=$(( $(ls -A "$findings" | wc -l) - before ))
  total_findings=$((total_findings + found))
  summary+=("$(printf '%-28s %12s executions %4d findings  (%s)' "$target" "${executions:-0}" "$found" "$log")")
done

echo
printf '%s\n' "${summary[@]}"
if [ "$total_findings" -gt 0 ]; then
  echo "run_fuzz: $total_findings new findings, inputs kept under $work/findings/" >&2
  exit 1
fi
