# Peak memory of reading, above the start, by the number of entries. scripts/bench --plot writes the data.
set terminal svg size 820,480 font "sans-serif,13" background "white"
set output "peak.svg"

set ylabel "peak memory above the start, MB"
set datafile separator "\t"
set xlabel "entries"
set logscale xy
set format x "%.0f"
set format y "%g"
set xrange [9000:1200000]
set yrange [0.05:20000]
set border 3
set tics nomirror
set grid ytics
set key top left
set for [i = 1:9] linetype i linewidth 2 pointtype 7 pointsize 0.6
set linetype 1 linecolor "#1b6ca8"
set linetype 2 linecolor "#3a9d5d"
set linetype 3 linecolor "#e0a458"
set linetype 4 linecolor "#c44e52"
set linetype 5 linecolor "#8c6bb1"

plot for [i = 2:*] "peak.dat" using 1:i with linespoints linetype (i - 1) title columnheader(i)
