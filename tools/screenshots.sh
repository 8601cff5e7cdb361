#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Makes the screenshots of docs/images, with real files in /tmp/Session, in a light and a dark palette:
# screenshots.sh PROGRAM [DIRECTORY [PERCENT...]]
# The percentages are those of the desktop's scaling, 100 if there are none.
set -eu

. "$(dirname "$0")/packages.sh"
need_packages alsa-utils fonts-dejavu-core imagemagick openbox pngquant sox xdotool xvfb

program=$(realpath "$1")
target=$(realpath -m "${2:-$(dirname "$0")/../docs/images}")
[ $# -lt 2 ] || shift
shift
percents=${*:-100}
session=
work=$(mktemp -d)
server=
finish() {
    [ -z "$server" ] || kill "$server"
    rm -rf "$work" ${session:+"$session"}
}
trap finish EXIT
mkdir /tmp/Session
session=/tmp/Session # from here on ours
cd "$session"
mkdir Recordings Mono Takes Mixes

# Spoken names of loudspeakers as the channels of two takes, all of one length.
sounds=/usr/share/sounds/alsa
n=0
for speaker in Front_Left Front_Right Front_Center Noise Rear_Left Rear_Right Side_Left Side_Right; do
    n=$((n + 1))
    sox -V1 "$sounds/$speaker.wav" "Takes/Evening_0$n.wav" pad 0 3 trim 0 3
    sox -V1 "$sounds/$speaker.wav" "Takes/Morning_0$n.wav" pad 0 4 trim 0 4
done
: >Mixes/Evening_combined.wav # about to be overwritten

# A list longer than the view, and a file that takes some seconds.
for n in 1 2 3 4 5 6 7 8 9; do
    sox -M Takes/Evening_0?.wav "Recordings/All Speakers, Take $n.wav"
done
sox -M Takes/Evening_01.wav Takes/Evening_02.wav "Recordings/Front.wav"
sox -M Takes/Evening_05.wav Takes/Evening_06.wav "Recordings/Rear.wav" rate 96000
sox -M Takes/Evening_01.wav Takes/Evening_02.wav Takes/Evening_03.wav -t wavpcm -b 24 \
    "Recordings/Left Right Center.wav"
mkdir Long
sox -n -r 48000 -b 16 -c 2 -t wavpcm Long/Concert.wav trim 0 9000 # two and a half hours

# The toolkit reads the palette of this desktop from a file, whichever desktop runs.
export XDG_CURRENT_DESKTOP=KDE KDE_SESSION_VERSION=5 KDE_FULL_SESSION=true
export HOME="$work" XDG_CONFIG_HOME="$work/config" XDG_RUNTIME_DIR="$work"
mkdir "$work/config"
palette() { # palette WINDOW VIEW BUTTON TEXT DISABLED
    cat >"$work/config/kdeglobals" <<END
[General]
font=DejaVu Sans,9,-1,5,50,0,0,0,0,0
[KDE]
widgetStyle=Fusion
[Colors:Window]
BackgroundNormal=$1
ForegroundNormal=$4
ForegroundInactive=$5
[Colors:View]
BackgroundNormal=$2
BackgroundAlternate=$1
ForegroundNormal=$4
[Colors:Button]
BackgroundNormal=$3
ForegroundNormal=$4
[Colors:Selection]
BackgroundNormal=48,112,176
ForegroundNormal=255,255,255
[Colors:Tooltip]
BackgroundNormal=$1
ForegroundNormal=$4
END
}

wait_for() { # wait_for WHAT COMMAND...
    what=$1
    shift
    for _ in $(seq 200); do
        if "$@" >/dev/null 2>&1; then return; fi
        sleep 0.1
    done
    echo "There was no $what." >&2
    exit 1
}
window_has_focus() { [ "$(xdotool getwindowfocus getwindowname)" = Splicora ]; }
keys() { xdotool key --delay 80 "$@"; }
tabs() { for _ in $(seq "$1"); do keys Tab; done; }

list() { # list DIRECTORY
    keys Tab
    xdotool type "$session/$1"
    keys Return Tab Tab space # Browse, and the first of the files
}
add_more() { # add_more ROWS: the selected file and those below it
    for _ in $(seq "$1"); do keys shift+Down; done
    keys Return
}

fill_split() {
    keys Down # Poly to Mono
    list Recordings
    add_more 4
    tabs 3
    keys space # the first source
    tabs 3
    keys space # without channel 3
    tabs 3
    keys space # and 6
    tabs 3
    xdotool type "$session/Mono"
}

fill_combine() {
    list Takes
    add_more 7
    tabs 3
    keys Tab # the channels are off
    xdotool type "$session/Mixes"
}

fill_question() {
    fill_combine
    tabs 4
    keys space # Convert
    wait_for question dialog_is_there
}

fill_progress() {
    keys Down
    list Long
    keys Return
    tabs 4
    xdotool type "$session/Mono"
    tabs 4
    keys space
    wait_for progress dialog_is_there
    sleep 1 # until there is some
}

dialog_is_there() { [ "$(xdotool search --onlyvisible --name '^Splicora$' | wc -l)" -eq 2 ]; }

shoot() { # shoot SCENE PALETTE PERCENT
    QT_SCALE_FACTOR=$(($3 / 100)) QT_QPA_PLATFORM=xcb "$program" 2>"$work/program.log" &
    running=$!
    wait_for window window_has_focus
    window=$(xdotool getwindowfocus)
    # Whole rows fit into the tables.
    xdotool windowsize --sync "$window" "$((562 * $3 / 100))" "$((626 * $3 / 100))"
    "fill_$1"
    xdotool mousemove 0 0
    sleep 1 # until the cursor of the field and the last repaint have settled
    # The window as it is on the screen, with what is in front of it.
    import -screen -window "$window" "$work/shot.png"
    pngquant --force --strip --speed 1 --output "$target/$1-$2-$3.png" 128 "$work/shot.png"
    case $1 in
    question | progress) keys Escape ;;
    esac
    wait_for window window_has_focus
    keys alt+f Return # Quit
    wait "$running"
}

mkdir -p "$target"
Xvfb -displayfd 3 -screen 0 2560x2048x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
server=$!
wait_for display test -s "$work/display"
DISPLAY=:$(cat "$work/display")
export DISPLAY
# The theme draws a handle under a dialog, which the picture would show.
mkdir -p "$work/.themes/Plain/openbox-3"
cp -r /usr/share/themes/Clearlooks/openbox-3/. "$work/.themes/Plain/openbox-3"
echo "window.handle.width: 0" >>"$work/.themes/Plain/openbox-3/themerc"
sed 's|<name>Clearlooks</name>|<name>Plain</name>|' /etc/xdg/openbox/rc.xml >"$work/rc.xml"
openbox --config-file "$work/rc.xml" --startup "touch $work/managed" >"$work/openbox.log" 2>&1 &
wait_for "window manager" test -e "$work/managed"

for percent in $percents; do
    for scene in split combine question progress; do
        palette 239,240,241 255,255,255 252,252,252 35,38,41 112,125,138
        shoot $scene light "$percent"
        palette 42,46,50 27,30,32 49,54,59 252,252,252 161,169,177
        shoot $scene dark "$percent"
    done
done
