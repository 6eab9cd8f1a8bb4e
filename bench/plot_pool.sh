#!/usr/bin/env bash
# Draws how a pool's cost grows, from the JSON of one run of the pool benchmark:
#   pool_bench --benchmark_filter=Growth --benchmark_out=growth.json && bench/plot_pool.sh growth.json docs/pool-growth.png
# Needs jq and gnuplot (Debian packages jq and gnuplot-nox).
set -euo pipefail

if [ $# -ne 2 ]; then
    echo "usage: $0 RESULTS.json PICTURE.png" >&2
    exit 2
fi
for tool in jq gnuplot; do
    command -v "$tool" >/dev/null || { echo "$0: $tool is not installed" >&2; exit 1; }
done

data=$(mktemp -d)
trap 'rm -rf "$data"' EXIT

# rows GROUP CONTESTANT ARGUMENT: "argument median-nanoseconds", ascending
rows() {
    jq -r --arg prefix "$1/$2/" --arg argument "$3" '
        [.benchmarks[] | select(.run_type == "iteration" and (.name | startswith($prefix)))
         | {x: (.name | capture($argument + ":(?<n>[0-9]+)").n | tonumber), y: .ns_per_task}]
        | group_by(.x)[] | (map(.y) | sort) as $y | "\(.[0].x) \($y[($y | length) / 2 | floor])"' "$json"
}

json=$1
contestants=$(jq -r '[.benchmarks[].name | split("/")[1]] | unique | .[]' "$json")
panel() { # panel GROUP ARGUMENT TITLE
    local plots=() name
    for name in $contestants; do
        rows "$1" "$name" "$2" >"$data/$1-$name"
        plots+=("'$data/$1-$name' using 1:2 with linespoints linewidth 2 title '$name'")
    done
    local IFS=,
    echo "set title '$3'"
    echo "set xlabel '$2'"
    echo "plot ${plots[*]}"
}

{
    echo "set terminal pngcairo noenhanced size 1500,480 font 'sans,11'"
    echo "set output '$2'"
    echo "set multiplot layout 1,3"
    echo "set logscale xy"
    echo "set yrange [100:*]"
    echo "set ylabel 'ns per task'"
    echo "set key top left"
    echo "set grid"
    panel GrowthOfRequesters requesters '20 workers, 1 us bodies'
    panel GrowthOfWorkers workers '1 requester, 1 us bodies'
    panel GrowthOfQueue queued '1 worker drains a backlog of empty tasks'
    echo "unset multiplot"
} | gnuplot
