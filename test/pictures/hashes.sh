#!/usr/bin/env bash
# hashes.sh KIVCLIP [MEDIA_FOLDER] > list.txt: runs a table of kivclip commands and prints a line
# "NAME HASH" for each, sorted. A list made before a change that must alter nothing equals the list
# made after it:
#     test/pictures/hashes.sh build/release/bin/kivclip >before.txt
# A hash covers exit status, messages, standard output and, of every file written, the decoded
# pictures with their times, the packets of its sound, or its text: never a container's own bytes.
# Hashes hold for one machine and its codecs, so no list is committed. The clips are made anew each
# time; MEDIA_FOLDER has further ones. It stands in test/, not in bench/: it looks at what comes out
# and measures nothing. Needs the package ffmpeg. Fails when a command ends as it should not.
set -euo pipefail -f
export LC_ALL=C
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
kivclip=$(realpath "$1")
media=${2:+$(realpath "$2")}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
unset KIV_LOG KIV_MODULE_FOLDER
export KIV_REGISTRY=$folder/registry.json
cd "$folder"
ln -s "$root/samples" samples
[ -z "$media" ] || ln -s "$media" media

# Frames where nothing else is said: 40 of 320x180 pixels, 25 a second.
readonly x264="-c:v libx264 -preset veryfast -pix_fmt yuv420p -g 12 -bf 3"
readonly sound="-f lavfi -i sine=frequency=440:sample_rate=48000:duration=1.6"
readonly disc="r='255-X/2':g='Y':b='128':a='clip((90-hypot(X-100-2*N,Y-90))*8,0,255)'"
readonly shape="color=black:s=320x180:r=25,format=rgba,geq=$disc"

make() { ffmpeg -nostdin -v error -y "$@"; }
# clip_of FILE FILTERS ENCODER_OPTION...
clip_of() { make -f lavfi -i "$2" -frames:v 40 -threads 1 "${@:3}" "$1"; }
# clip FILE ENCODER_OPTION...
clip() { clip_of "$1" "testsrc2=s=320x180:r=25" "${@:2}"; }

make_clips() {
  make -f lavfi -i "testsrc2=s=320x180:r=25" $sound -frames:v 40 -threads 1 $x264 -c:a aac h264.mp4
  clip open.mkv $x264 -x264-params open-gop=1
  clip tenbit.mkv $x264 -pix_fmt yuv420p10le
  clip wide.mkv $x264 -pix_fmt yuv444p -color_range pc -colorspace bt709
  clip vp9.webm -c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 12
  clip mpeg2.ts -c:v mpeg2video -q:v 3 -g 12 -bf 2
  clip mpeg4.avi -c:v mpeg4 -q:v 3 -g 12
  clip prores.mov -c:v prores_ks -profile:v 1
  clip ffv1.mkv -c:v ffv1
  make -i h264.mp4 -c copy -metadata:s:v rotate=90 turned.mp4
  clip_of rate.mp4 "testsrc2=s=318x178:r=30000/1001" $x264
  clip_of variable.mkv "testsrc2=s=320x180:r=25,select='mod(n\,4)'" -vsync vfr $x264
  clip_of shaky.mp4 \
    "movie=samples/city.mp4,scale=400:225,crop=320:180:40+12*sin(n*1.3):22+9*cos(n*1.7)" $x264
  clip_of alpha.mov "$shape" -c:v prores_ks -profile:v 4 -pix_fmt yuva444p10le
  clip_of alpha.mkv "$shape" -c:v png
  clip_of alpha.webm "$shape" -c:v libvpx-vp9 -deadline realtime -cpu-used 8 -pix_fmt yuva420p \
    -auto-alt-ref 0
  clip_of small.mp4 "testsrc2=s=160x90:r=25,hue=h=90" $x264
  make -f lavfi -i "gradients=s=200x100:c0=red:c1=blue:seed=1:n=2" -frames:v 1 fill.png
  head -c 60000 mpeg2.ts >cut.ts
  if ffmpeg -v error -encoders | grep ' libx265 ' >/dev/null; then
    clip hevc.mp4 -c:v libx265 -preset ultrafast -g 12 -bf 3 \
      -x265-params pools=none:frame-threads=1:log-level=none
  else
    echo "no HEVC encoder: its rows are left out" >&2
  fi
  printf 'no video' >text.mp4
  printf '{"no": "keyframes"}' >other.json
}

# Of a file that kivclip wrote.
content() {
  local decoder=()
  case $1 in
    *.json) cat "$1" && return ;;
    *.webm) decoder=(-c:v libvpx-vp9) ;; # FFmpeg's own leaves the alpha layer out
  esac
  ffmpeg -nostdin -v error "${decoder[@]}" -i "$1" -map 0:v -map 0:a? -c:a copy -bitexact \
    -f framemd5 -
}

fail() { echo "$*" >&2 && touch bad; }

# run STATUS NAME ARGUMENT...: files that the command writes go to out/.
run() {
  local status=0 expected=$1 name=$2 file
  shift 2
  mkdir out
  "$kivclip" "$@" >stdout 2>stderr </dev/null || status=$?
  [ $status -eq "$expected" ] || fail "$name: status $status: kivclip $*: $(head -n 1 stderr)"
  {
    echo "$status"
    cat stderr stdout
    find out -type f | sort | while read -r file; do
      echo "$file"
      content "$file" || fail "$name: $file cannot be read"
    done
  } | sed -e "s|$folder|FOLDER|g" -e "s|${kivclip%/bin/*}|PROGRAM|g" | sha256sum |
    sed "s|^\([0-9a-f]*\).*|$name \1|"
  rm -r out
}

# table STATUS: runs the rows "NAME ARGUMENT..." of standard input, where PLAY stands for writing all
# pixels to standard output.
table() {
  local name line
  while read -r name line; do
    if [[ $name == '#' || ($line == *hevc.mp4* && ! -f hevc.mp4) ]]; then continue; fi
    run "$1" "$name" ${line/PLAY/render -o - --format bgra}
  done
}

done_rows() {
  cat <<'ROWS'
# codecs and containers read
h264 PLAY h264.mp4
h264-open PLAY open.mkv
h264-open-back PLAY open.mkv --reverse
h264-10bit PLAY tenbit.mkv
h264-444-full PLAY wide.mkv
hevc PLAY hevc.mp4
hevc-back PLAY hevc.mp4 --reverse
vp9 PLAY vp9.webm
mpeg2 PLAY mpeg2.ts
mpeg2-back PLAY mpeg2.ts --reverse
mpeg4 PLAY mpeg4.avi
prores PLAY prores.mov
ffv1 PLAY ffv1.mkv
alpha-prores PLAY alpha.mov
alpha-png PLAY alpha.mkv
alpha-vp9 PLAY alpha.webm
turned PLAY turned.mp4
ntsc PLAY rate.mp4
variable PLAY variable.mkv
damaged PLAY cut.ts
still PLAY fill.png
# codecs and containers written, with sound where it is kept
to-mp4 render h264.mp4 -o out/x.mp4
to-mp4-part render h264.mp4 -o out/x.mp4 --frames 3:20
to-mov render h264.mp4 -o out/x.mov
to-mov-prores render h264.mp4 -o out/x.mov --codec prores --quality 40
to-mov-alpha render alpha.mov -o out/x.mov
to-mov-png render alpha.mkv -o out/x.mov --codec png
to-mkv render h264.mp4 -o out/x.mkv --quality 30
to-mkv-ffv1 render alpha.mkv -o out/x.mkv --codec ffv1
to-webm render h264.mp4 -o out/x.webm --frames 0:19
to-webm-alpha render alpha.webm -o out/x.webm --frames 0:9
to-y4m render h264.mp4 -o out/x.y4m
to-y4m444 render h264.mp4 -o - --format y4m444
to-png render alpha.mkv -o out/x%03d.png --frames 0:4
to-one-png render h264.mp4 -o out/x.png --frames 7:7
to-null render h264.mp4 -o null
to-mkv-variable render variable.mkv -o out/x.mkv
to-mp4-ntsc render rate.mp4 -o out/x.mp4
# time
speed-double PLAY h264.mp4 --speed 2
speed-half-flow PLAY h264.mp4 --speed 1/2
speed-slow-shaky PLAY shaky.mp4 --speed 0.3
speed-half-off PLAY h264.mp4 --speed 1/2 --interpolation off
speed-half-back PLAY h264.mp4 --speed 1/2 --reverse
speed-third-sound-lost render h264.mp4 -o out/x.mp4 --speed 1/3
rate-up PLAY h264.mp4 --fps 60
rate-down PLAY h264.mp4 --fps 10
rate-odd PLAY rate.mp4 --fps 24000/1001
rate-of-variable PLAY variable.mkv --fps 25
rate-slow-back PLAY h264.mp4 --fps 30 --speed 2/3 --reverse
back PLAY h264.mp4 --reverse
back-range PLAY h264.mp4 --reverse --reverse-range 5:22
back-range-open PLAY open.mkv --reverse --reverse-range 13:30 --speed 1/2
back-variable PLAY variable.mkv --reverse
back-little-memory PLAY h264.mp4 --reverse --memory 1
part PLAY h264.mp4 --frames 11:17
part-open-end PLAY h264.mp4 --frames 30:
# pictures
crop PLAY h264.mp4 --crop 0.25,0.25,0.5,0.5
crop-odd PLAY rate.mp4 --crop 0.1,0.3,0.333,0.21 --reverse
crop-moving PLAY h264.mp4 --crop-keyframes samples/zoom.json
crop-moving-back PLAY samples/city.mp4 --crop-keyframes samples/zoom.json --decode-scale 1/4 --reverse --speed 3
size PLAY h264.mp4 --size 200x150
scale-down PLAY h264.mp4 --decode-scale 1/3
scale-up PLAY vp9.webm --decode-scale 3/2 --frames 0:9
chain-cache PLAY h264.mp4 --chain source,cache,rate,reverse,speed,crop --reverse --fps 30 --crop 0,0,0.5,0.5
chain-plain PLAY open.mkv --chain source
proxy PLAY h264.mp4 --proxy small.mp4
proxy-off PLAY h264.mp4 --settings kept-proxy.json --no-proxy
proxy-kept PLAY h264.mp4 --settings kept-proxy.json
# steadiness, from stored motion but for those that measure it
steady PLAY shaky.mp4 --settings motion.json --stabilize
steady-strong PLAY shaky.mp4 --settings motion.json --stabilize=60
steady-back PLAY shaky.mp4 --settings motion.json --stabilize --reverse
steady-slow PLAY shaky.mp4 --settings motion.json --stabilize --speed 1/2 --crop 0.1,0.1,0.8,0.8
steady-off PLAY shaky.mp4 --settings motion.json --stabilize=0
steady-measured PLAY shaky.mp4 --stabilize=25
motion stabilize shaky.mp4 --settings out/motion.json --plot out/path.png
motion-level stabilize shaky.mp4 --settings out/motion.json --level 80 --plot out/path.png
# shapes
fill-none PLAY alpha.mov --alpha-preset
fill-colour PLAY alpha.mov --alpha-preset --alpha-color FF8000
fill-gradient PLAY alpha.webm --alpha-preset --alpha-gradient FF2060,20A0FF,30
fill-picture PLAY alpha.mkv --alpha-preset --alpha-image fill.png
fill-matte PLAY h264.mp4 --alpha-preset --alpha-full-hd small.mp4 --alpha-color 3060C0
pause PLAY alpha.mkv --alpha-preset --alpha-pause 0.8 --alpha-length 2.4
pause-loop PLAY alpha.mkv --alpha-preset --alpha-pause 0.8 --alpha-loop 6 --alpha-length 2.4
loop PLAY alpha.mkv --alpha-preset --alpha-pause 0 --alpha-length 3
shorter PLAY alpha.mkv --alpha-preset --alpha-duration 1.2 --alpha-length 1
over PLAY alpha.webm --alpha-preset --alpha-color 20C040 --over h264.mp4
over-picture-back PLAY alpha.mkv --alpha-preset --alpha-image fill.png --over rate.mp4 --reverse
over-city render alpha.mov -o out/x.mp4 --alpha-preset --alpha-gradient 000000,FFFFFF,90 --alpha-pause 1 --over samples/city.mp4 --alpha-length 2
over-sound render alpha.mkv -o out/x.mkv --alpha-preset --over h264.mp4
# single pictures, sheets and plots
frame frame h264.mp4 --at 17 -o out/x.png
frame-back frame open.mkv --at 5 --reverse -o out/x.png
frame-between frame shaky.mp4 --at 21 --speed 1/2 -o out/x.png
frame-alpha frame alpha.mov --at 12 --alpha-preset --alpha-image fill.png -o out/x.png
frame-steady frame shaky.mp4 --at 30 --settings motion.json --stabilize -o out/x.png
sheet sheet h264.mp4 -o out/x.png
sheet-back sheet variable.mkv -o out/x.png --reverse --frames 2:13
sheet-slow sheet h264.mp4 -o out/x.png --speed 1/2 --frames 0:11
sheet-cropped sheet rate.mp4 -o out/x.png --crop 0,0,0.5,1
sheet-over sheet alpha.mkv -o out/x.png --alpha-preset --alpha-color FF0000 --over h264.mp4
keyframes keyframes samples/zoom.json
keyframes-at keyframes samples/zoom.json --at 40
keyframes-plot keyframes samples/zoom.json --plot out/x.png
# settings
settings-saved PLAY h264.mp4 --frames 0:2 --save-settings out/s.json --speed 2/3 --reverse --fps 30 --crop 0.1,0.1,0.5,0.5
settings-alpha-saved PLAY alpha.mkv --save-settings out/s.json --alpha-preset --alpha-gradient 102030,405060,70 --alpha-pause 1 --alpha-loop 3 --over h264.mp4
settings-used PLAY h264.mp4 --settings kept.json
settings-changed PLAY h264.mp4 --settings kept.json --no-reverse --speed 1
settings-again PLAY h264.mp4 --settings kept.json --save-settings out/s.json
settings-alpha PLAY alpha.mkv --settings kept-alpha.json
settings-crop PLAY h264.mp4 --settings kept-crop.json
# what is told
info info h264.mp4
info-json info h264.mp4 --json
info-open-json info open.mkv --json
info-hevc-json info hevc.mp4 --json
info-variable-json info variable.mkv --json
info-turned-json info turned.mp4 --json
info-alpha-json info alpha.webm --json
info-damaged-json info cut.ts --json
verify verify h264.mp4
verify-open-slow verify open.mkv --speed 1/2 --interpolation off
verify-rate verify rate.mp4 --fps 60 --reverse
verify-variable verify variable.mkv
quiet render h264.mp4 -o out/x.mp4 --quiet --speed 2
register register
unregister unregister
# what is told of itself
help --help
version --version
manual --manual
completion-bash --completion bash
completion-zsh --completion zsh
completion-fish --completion fish
ROWS
  local command
  for command in render frame sheet stabilize verify keyframes info register unregister; do
    echo "help-$command $command --help"
  done
}

wrong_rows() {
  cat <<'ROWS'
wrong-command dance
wrong-completion --completion tcsh
wrong-option render h264.mp4 -o null --loud
wrong-twice render h264.mp4 -o null --fps 25 --fps 30
wrong-no-input render -o null
wrong-no-output render h264.mp4
wrong-no-value render h264.mp4 -o null --speed
wrong-ending render h264.mp4 -o out/x.doc
wrong-codec render h264.mp4 -o out/x.webm --codec prores
wrong-quality render h264.mp4 -o out/x.mp4 --quality 101
wrong-pattern render h264.mp4 -o out/x.png
wrong-speed render h264.mp4 -o null --speed 0
wrong-fps render h264.mp4 -o null --fps fast
wrong-size render h264.mp4 -o null --size 320
wrong-scale render h264.mp4 -o null --decode-scale 1/1000
wrong-span render h264.mp4 -o null --frames 9:3
wrong-span-beyond render h264.mp4 -o null --frames 90:95
wrong-at frame h264.mp4 -o out/x.png --at 40
wrong-range render h264.mp4 -o null --reverse --reverse-range 5:60
wrong-range-alone render h264.mp4 -o null --reverse-range 5:9
wrong-crop render h264.mp4 -o null --crop 0.5,0.5,0.6,0.6
wrong-crops render h264.mp4 -o null --crop 0,0,1,1 --crop-keyframes samples/zoom.json
wrong-colour render alpha.mkv -o null --alpha-preset --alpha-color red
wrong-fills render alpha.mkv -o null --alpha-preset --alpha-color FF0000 --alpha-image fill.png
wrong-alpha-alone render alpha.mkv -o null --alpha-loop 3
wrong-duration render alpha.mkv -o null --alpha-preset --alpha-duration 0
wrong-level render shaky.mp4 -o null --stabilize=101
wrong-chain render h264.mp4 -o null --chain source,speed,rate
wrong-chain-node render h264.mp4 -o null --chain source,warp
wrong-chain-needs render h264.mp4 -o null --chain source --speed 2
wrong-progress render h264.mp4 -o null --progress loud
wrong-memory render h264.mp4 -o null --memory lots
ROWS
}

failed_rows() {
  cat <<'ROWS'
failed-missing info missing.mp4
failed-text info text.mp4
failed-folder render h264.mp4 -o missing/x.mp4
failed-settings render h264.mp4 -o null --settings text.mp4
failed-settings-missing render h264.mp4 -o null --settings missing.json
failed-keyframes keyframes other.json
failed-keyframes-crop render h264.mp4 -o null --crop-keyframes other.json
failed-proxy render h264.mp4 -o null --proxy missing.mp4
failed-image render alpha.mkv -o null --alpha-preset --alpha-image missing.png
failed-over render alpha.mkv -o null --alpha-preset --over text.mp4
failed-range-kept render fill.png -o null --settings kept-range.json
ROWS
}

# The same for every clip of the folder.
media_rows() {
  local file name
  for file in $(find media/ -name '*.mp4' -o -name '*.mpg' -o -name '*.mov' -o -name '*.mkv'); do
    name=media-$(basename "$file")
    cat <<ROWS
$name-info info $file --json
$name PLAY $file --decode-scale 1/4
$name-back PLAY $file --decode-scale 1/4 --reverse
$name-rate PLAY $file --decode-scale 1/4 --fps 24 --frames 0:19
$name-slow PLAY $file --decode-scale 1/4 --speed 1/2 --frames 0:29
$name-crop PLAY $file --decode-scale 1/4 --crop 0.2,0.2,0.6,0.6 --frames 0:29
$name-sheet sheet $file --decode-scale 1/4 --frames 0:29 -o out/x.png
ROWS
  done
}

# Settings that later rows load.
keep_settings() {
  "$kivclip" stabilize shaky.mp4 --settings motion.json
  "$kivclip" render h264.mp4 -o null --save-settings kept.json --speed 2/3 --reverse --reverse-range 4:30 --fps 30
  "$kivclip" render h264.mp4 -o null --save-settings kept-range.json --reverse --reverse-range 4:39
  "$kivclip" render h264.mp4 -o null --save-settings kept-crop.json --crop-keyframes samples/zoom.json
  "$kivclip" render h264.mp4 -o null --save-settings kept-proxy.json --proxy small.mp4
  "$kivclip" render alpha.mkv -o null --save-settings kept-alpha.json --alpha-preset --alpha-image fill.png --alpha-pause 0.8 --over h264.mp4
}

make_clips
keep_settings
{
  table 0 < <(done_rows)
  table 2 < <(wrong_rows)
  table 1 < <(failed_rows)
  [ -z "$media" ] || table 0 < <(media_rows)
} >list
sort list
[ ! -e bad ]
