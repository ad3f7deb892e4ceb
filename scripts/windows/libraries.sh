#!/usr/bin/env bash
# Builds Qt, FFmpeg, SDL, pugixml and GoogleTest for Windows from Debian's source packages, and puts
# them with the header-only libraries into one prefix (see prefix.sh). Each is skipped when its
# stamp says that it stands there in this version, built by these lines with this compiler.
# Qt takes most of the time: about 9 minutes on two cores, the rest about 3.
# usage: libraries.sh [LIBRARY...]     default: all of them
#        libraries.sh --missing        builds nothing, prints those that would be built
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
prefix=$("$here/prefix.sh")
target=x86_64-w64-mingw32
work=$prefix/build
jobs=${TARSIN_JOBS:-$(nproc)}

# Debian's alternatives may name the compiler without std::thread, and Qt and FFmpeg call it by its
# plain name.
use_posix_compilers() {
    local tool
    mkdir -p "$prefix/tools"
    for tool in gcc g++; do
        printf '#!/bin/sh\nexec %s-%s-posix "$@"\n' $target $tool >"$prefix/tools/$target-$tool"
        chmod +x "$prefix/tools/$target-$tool"
    done
    export PATH=$prefix/tools:$PATH
}

# unpack_original FOLDER: the upstream archive alone, without Debian's patches, which are for Linux.
unpack_original() {
    mkdir "$1"
    tar -xf ./*.orig.tar.* -C "$1" --strip-components=1
}

# Features of Qt that neither the programs nor their tests use; without them Qt builds in half the
# time. Tablets would need a header besides that the sources do not have.
qt_features_off=(
    # Core
    concatenatetablesproxymodel hijricalendar identityproxymodel islamiccivilcalendar
    jalalicalendar mimetype process sharedmemory statemachine systemsemaphore timezone
    transposeproxymodel
    # Gui
    desktopservices imageformat_jpeg imageformat_ppm imageformat_xbm gif ico movie pdf picture
    systemtrayicon tabletevent textmarkdownreader textmarkdownwriter textodfwriter vulkan whatsthis
    # Network: the host's name is all that is asked for
    bearermanagement dnslookup ftp http localserver networkdiskcache networkproxy sspi udpsocket
    # Widgets; the style of Windows needs some more than the window does
    calendarwidget colordialog columnview datawidgetmapper datetimeedit dial dirmodel errormessage
    filedialog filesystemmodel fontcombobox fontdialog formlayout fscompleter graphicseffect
    graphicsview keysequenceedit lcdnumber listwidget mdiarea progressdialog scroller splashscreen
    splitter statusbar syntaxhighlighter textbrowser toolbox undocommand wizard
    # Others
    concurrent itemmodeltester printer sql sqlmodel)

build_qt() {
    "$here/fetch-source.sh" qtbase5-dev .
    unpack_original source
    mkdir build
    cd build
    # qmake, which it builds first, on all cores.
    MAKEFLAGS=-j$jobs ../source/configure -prefix "$prefix" \
        -xplatform win32-g++ -device-option CROSS_COMPILE=$target- \
        -opensource -confirm-license -release -optimize-size -static -nomake examples -nomake tests \
        -no-opengl -no-dbus -no-icu -no-openssl -no-direct2d -no-libjpeg \
        "${qt_features_off[@]/#/-no-feature-}" \
        -qt-zlib -qt-libpng -qt-freetype -qt-pcre -qt-harfbuzz
    make -j"$jobs"
    # What an earlier build had and this one has not would be found, and linked.
    rm -rf "$prefix"/{mkspecs,plugins} "$prefix"/include/Qt* "$prefix"/lib/{cmake/Qt5*,lib[Qq]t*,Qt5*.prl}
    make install
}

# The grabbing device and its image formats; what ndimonitor decodes and saves with.
build_ffmpeg() {
    "$here/fetch-source.sh" libavcodec-dev . --unpack
    mkdir build
    cd build
    ../ffmpeg-*/configure --prefix="$prefix" --enable-cross-compile \
        --cross-prefix=$target- --target-os=mingw32 --arch=x86_64 \
        --pkg-config=false --enable-static --disable-shared --disable-debug --disable-doc \
        --disable-programs --disable-autodetect --disable-everything \
        --enable-w32threads --enable-zlib \
        --disable-network --disable-avfilter --disable-postproc --disable-swresample \
        --enable-indev=gdigrab --enable-decoder=bmp,rawvideo,speedhq,png \
        --enable-encoder=speedhq,png
    make -j"$jobs"
    make install
}

build_sdl() {
    "$here/fetch-source.sh" libsdl2-dev . --unpack
    build_with_cmake libsdl2-*/ -DSDL_SHARED=OFF -DSDL_STATIC=ON -DSDL_TEST=OFF \
        -DSDL_HIDAPI=OFF -DSDL_JOYSTICK=OFF -DSDL_HAPTIC=OFF -DSDL_SENSOR=OFF \
        -DSDL_OPENGL=OFF -DSDL_OPENGLES=OFF -DSDL_VULKAN=OFF
}

build_pugixml() {
    "$here/fetch-source.sh" libpugixml-dev . --unpack
    build_with_cmake pugixml-*/
}

build_googletest() {
    build_with_cmake /usr/src/googletest
}

# Whole libraries of headers, copied because the Linux include folder must never be on the include
# path of a build for Windows.
build_headers() {
    mkdir -p "$prefix/include"
    cp -r /usr/include/spdlog /usr/include/fmt /usr/include/asio /usr/include/asio.hpp \
        /usr/include/CLI /usr/include/nlohmann "$prefix/include"
}

# build_with_cmake SOURCE [OPTION...]
build_with_cmake() {
    cmake -G Ninja -S "$1" -B build -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_TOOLCHAIN_FILE="$here/../../cmake/mingw-w64.cmake" -DTARSIN_WINDOWS_PREFIX="$prefix" \
        -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF "${@:2}"
    cmake --build build -j "$jobs"
    cmake --install build
}

declare -A made_from=(
    [headers]="libspdlog-dev libfmt-dev libasio-dev libcli11-dev nlohmann-json3-dev"
    [googletest]=googletest
    [pugixml]=libpugixml-dev [sdl]=libsdl2-dev [qt]=qtbase5-dev
    [ffmpeg]="libavcodec-dev libz-mingw-w64-dev")

# What a library's stamp says: versions, compiler, and the lines that build it.
stamp_of() {
    {
        # shellcheck disable=SC2086  # several packages in one word
        dpkg-query -W -f='${Package} ${source:Version}\n' ${made_from[$1]} \
            g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev
        declare -f "build_$1" build_with_cmake unpack_original
        [ "$1" != qt ] || declare -p qt_features_off
    } | sha256sum
}

stands() { [ "$(cat "$prefix/stamps/$1" 2>/dev/null)" = "$(stamp_of "$1")" ]; }

build() {
    local library=$1 stamp=$prefix/stamps/$1 begun=$SECONDS
    ! stands "$library" || return 0
    echo "Building $library for Windows into $prefix"
    rm -rf "${work:?}/$library" "$stamp"
    mkdir -p "$work/$library"
    # A shell of its own, so that a failing line ends it in spite of the condition around it.
    if ! bash -c "set -euo pipefail; $(declare -f); $(declare -p here prefix target jobs qt_features_off)
            cd '$work/$library'; build_$library" >"$work/$library.log" 2>&1; then
        tail -n 40 "$work/$library.log" >&2
        echo "libraries.sh: building $library failed; all of it: $work/$library.log" >&2
        exit 1
    fi
    mkdir -p "$prefix/stamps"
    stamp_of "$library" >"$stamp"
    echo "  $library took $((SECONDS - begun)) s"
    rm -rf "${work:?}/$library"
}

all=(headers googletest pugixml sdl ffmpeg qt)
if [ "${1:-}" = --missing ]; then
    for library in "${all[@]}"; do stands "$library" || echo "$library"; done
    exit
fi
mkdir -p "$prefix"
exec 9>"$prefix/lock"
flock 9  # Another checkout may be building them.
use_posix_compilers
[ $# -gt 0 ] || set -- "${all[@]}"
for library in "$@"; do
    [ -n "${made_from[$library]:-}" ] || { echo "libraries.sh: no library $library" >&2; exit 1; }
    build "$library"
done
