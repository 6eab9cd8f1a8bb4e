#!/usr/bin/env bash
# Draws how cost grows from lines "curve, contestant, x, y", separated by tabs:
#   pool_bench --growth >growth.tsv; server_bench --growth >>growth.tsv; bench/plot_growth.sh growth.tsv growth.png
# Needs gnuplot (Debian package gnuplot-nox).
set -euo pipefail

if [ $# -ne 2 ] || [ ! -r "$1" ]; then
    echo "usage: $0 DATA.tsv PICTURE.png" >&2
    exit 2
fi
command -v gnuplot >/dev/null || { echo "$0: gnuplot is not installed" >&2; exit 1; }

# A contestant looks the same in every panel: colours that the colour-blind tell apart, and marks of different shape for print.
look_of() {
    case $1 in
        nbiutil | nbi-server) echo "linecolor rgb '#000000' linewidth 3 pointtype 7" ;;
        asio | 'bare servant') echo "linecolor rgb '#E69F00' linewidth 2 pointtype 5" ;;
        tbb | 'with TLS') echo "linecolor rgb '#56B4E9' linewidth 2 pointtype 9" ;;
        ace_mq) echo "linecolor rgb '#009E73' linewidth 2 pointtype 11" ;;
        poco) echo "linecolor rgb '#D55E00' linewidth 2 pointtype 13 dashtype 2" ;;
        *) echo "linecolor rgb '#CC79A7' linewidth 2 pointtype 3 dashtype 3" ;;
    esac
}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
data=$1

panel() {  # panel CURVE FACTOR SETTINGS XLABEL YLABEL TITLE
    local plots=() name file
    while IFS= read -r name; do
        file="$scratch/$1-$name"
        awk -F '\t' -v curve="$1" -v name="$name" '$1 == curve && $2 == name { print $3, $4 }' "$data" >"$file"
        plots+=("'$file' using 1:(\$2 * $2) with linespoints $(look_of "$name") title '$name'")
    done < <(awk -F '\t' -v curve="$1" '$1 == curve && !seen[$2]++ { print $2 }' "$data")
    [ ${#plots[@]} -gt 0 ] || return 0
    echo "unset logscale; set xtics autofreq; set yrange [*:*]; $3"
    echo "set xlabel '$4'; set ylabel '$5'; set title '$6'"
    local IFS=,
    echo "plot ${plots[*]}"
}

{
    echo "set terminal pngcairo noenhanced size 1500,1000 font 'sans,12'"
    echo "set output '$2'"
    echo "set multiplot layout 2,3"
    echo "set grid; set bmargin 6; set key below maxrows 2 samplen 2; set format x '%.0s%c'; set format y '%g'"
    panel requesters 0.001 'set logscale xy' requesters 'us a task' '20 workers, bodies of 1 us'
    panel workers 0.001 'set logscale xy' workers 'us a task' '1 requester, bodies of 1 us'
    panel queued 1 'set logscale x; set yrange [0:*]' 'queued tasks' 'ns a task' '1 worker runs a backlog of empty tasks'
    panel memory 1 'set logscale x; set yrange [0:*]' 'queued tasks' 'bytes of heap a task' 'memory of a queued task'
    panel busy 0.001 'set logscale y; set xtics 1' 'busy processes a core' 'us' 'round trip, 1 worker, mean'
    panel clients 0.001 'set logscale xy' clients 'thousand requests a second' 'nbi-server: ReadCounters over loopback'
    echo "unset multiplot"
} | gnuplot
