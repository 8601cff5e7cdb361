#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Makes the screenshots of docs/images: both functions with real files, in a light and a dark
# palette, at 100 and 200 per cent: screenshots.sh PROGRAM [DIRECTORY]
set -eu

. "$(dirname "$0")/packages.sh"
need_packages alsa-utils fonts-dejavu-core imagemagick openbox pngquant sox xdotool xvfb

program=$(realpath "$1")
target=$(realpath -m "${2:-$(dirname "$0")/../docs/images}")
work=$(mktemp -d)
server=
finish() {
    [ -z "$server" ] || kill "$server"
    rm -rf "$work"
}
trap finish EXIT
cd "$work"
mkdir Recordings Recordings/Mono Takes

# Spoken names of loudspeakers as the channels of a take, all of one length.
sounds=/usr/share/sounds/alsa
n=0
for speaker in Front_Left Front_Right Front_Center Noise Rear_Left Rear_Right Side_Left Side_Right; do
    n=$((n + 1))
    sox -V1 "$sounds/$speaker.wav" "Takes/speakers_0$n.wav" pad 0 3 trim 0 3
done
sox -M Takes/speakers_0?.wav "Recordings/All Speakers.wav"
sox -M Takes/speakers_01.wav Takes/speakers_02.wav "Recordings/Front.wav"
sox -M Takes/speakers_05.wav Takes/speakers_06.wav "Recordings/Rear.wav" rate 96000
sox -M Takes/speakers_01.wav Takes/speakers_02.wav Takes/speakers_03.wav -b 24 \
    "Recordings/Left Right Center.wav"

# The toolkit reads the palette of this desktop from a file, whichever desktop runs.
export XDG_CURRENT_DESKTOP=KDE KDE_SESSION_VERSION=5 KDE_FULL_SESSION=true
export HOME="$work" XDG_CONFIG_HOME="$work/config" XDG_RUNTIME_DIR="$work"
mkdir config
palette() { # palette WINDOW VIEW BUTTON TEXT DISABLED
    cat >config/kdeglobals <<END
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

fill_split() {
    keys Down Tab # Poly to Mono
    xdotool type Recordings
    keys Return
    tabs 4
    keys space    # Add All
    keys Tab space
    tabs 3
    keys space    # without channel 3
    tabs 3
    keys space    # and 6
    tabs 3
    xdotool type Recordings/Mono
}

fill_combine() {
    keys Tab
    xdotool type Takes
    keys Return
    tabs 4
    keys space # Add All
    tabs 2
    xdotool type Takes
}

shoot() { # shoot FUNCTION PALETTE PERCENT
    QT_SCALE_FACTOR=$(($3 / 100)) QT_QPA_PLATFORM=xcb "$program" 2>program.log &
    running=$!
    wait_for window window_has_focus
    "fill_$1"
    xdotool mousemove 0 0
    sleep 1 # until the cursor of the field and the last repaint have settled
    import -window "$(xdotool getwindowfocus)" shot.png
    pngquant --force --strip --speed 1 --output "$target/$1-$2-$3.png" 128 shot.png
    keys alt+f Return # Quit
    wait "$running"
}

mkdir -p "$target"
Xvfb -displayfd 3 -screen 0 2560x2048x24 -nolisten tcp 3>display 2>xvfb.log &
server=$!
wait_for display test -s display
DISPLAY=:$(cat display)
export DISPLAY
openbox --startup "touch $work/managed" >openbox.log 2>&1 &
wait_for "window manager" test -e managed

for percent in 100 200; do
    palette 239,240,241 255,255,255 252,252,252 35,38,41 112,125,138
    shoot split light $percent
    shoot combine light $percent
    palette 42,46,50 27,30,32 49,54,59 252,252,252 161,169,177
    shoot split dark $percent
    shoot combine dark $percent
done
