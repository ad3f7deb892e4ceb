#!/usr/bin/env bash
# Draws the chart of docs/BENCHMARKS.md from the CSV that whole-program.sh prints.
# usage: chart.sh [CSV-FILE] >docs/images/benchmarks.svg       default: standard input
set -euo pipefail
awk -F, '
    function text(x, y, class, anchor, content) {
        printf "<text x=\"%.1f\" y=\"%.1f\" class=\"%s\" text-anchor=\"%s\">%s</text>\n",
               x, y, class, anchor, content
    }
    function bar(y, class, value, label,    width) {
        width = value / longest * kWidth
        if (width < 1.5) width = 1.5
        printf "<rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"%d\" rx=\"2\" class=\"%s\"/>\n",
               kLeft, y, width, kBar, class
        text(kLeft + width + 6, y + kBar - 4, "value", "start", label)
    }
    function legend(x, class, label) {
        printf "<rect x=\"%d\" y=\"42\" width=\"12\" height=\"12\" rx=\"2\" class=\"%s\"/>\n", x, class
        text(x + 18, 52, "value", "start", label)
    }
    function ms(value) { return sprintf(value < 1 ? "%.2f ms" : "%.1f ms", value) }
    NR > 1 { scene[++n] = $1; theirs[n] = $2; ours[n] = $3; alone[n] = $4; ratio[n] = $5
             if ($2 > longest) longest = $2 }
    END {
        names["full"] = "full motion"; names["scroll"] = "scrolling window"
        names["caret"] = "typing"; names["nothing"] = "still"
        kLeft = 130; kWidth = 470; kBar = 16; kGroup = 72; kTop = 74
        height = kTop + n * kGroup
        printf "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 760 %d\" width=\"760\" height=\"%d\" role=\"img\">\n", height, height
        print "<title>CPU time per frame interval, 1920x1080 at 30 fps</title>"
        print "<style>"
        print "text { font-family: system-ui, sans-serif; fill: #1f2328 }"
        print ".title { font-size: 16px; font-weight: 600 } .scene { font-size: 14px } .value { font-size: 13px }"
        print ".theirs { fill: #8c959f } .ours { fill: #0969da } .alone { fill: #54aeff }"
        print "@media (prefers-color-scheme: dark) {"
        print "text { fill: #e6edf3 } .theirs { fill: #6e7681 } .ours { fill: #4493f8 } .alone { fill: #a5d6ff }"
        print "}"
        print "</style>"
        text(10, 24, "title", "start", "CPU time per 1/30 s, 1920x1080, whole program (less is better)")
        legend(kLeft, "theirs", "ffmpeg x11grab, SpeedHQ")
        legend(kLeft + 210, "ours", "one receiver")
        legend(kLeft + 340, "alone", "no receivers connected")
        for (i = 1; i <= n; ++i) {
            y = kTop + (i - 1) * kGroup
            text(kLeft - 12, y + 31, "scene", "end", scene[i] in names ? names[scene[i]] : scene[i])
            bar(y, "theirs", theirs[i], ms(theirs[i]))
            bar(y + 20, "ours", ours[i], ms(ours[i]) ", 1/" ratio[i])
            bar(y + 40, "alone", alone[i], ms(alone[i]))
        }
        print "</svg>"
    }' "${1:--}"
