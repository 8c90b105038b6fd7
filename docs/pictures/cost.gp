# What an entry costs, by hand, by the library and by its peers. scripts/bench --plot writes the data.
set terminal svg size 820,560 font "sans-serif,13" background "white"
set output "cost.svg"

set xlabel "CPU time per entry, ns"
set rmargin 10
set datafile separator "\t"
set style fill solid noborder
set border 1
set yrange [] reverse
set xrange [0:*]
set offsets 0, graph 0.08, 0.6, 0.6
set ytics scale 0
set xtics nomirror
set grid xtics
unset colorbox
unset key
set palette maxcolors 4 defined (1 "#1b6ca8", 2 "#3a9d5d", 3 "#9a9a9a", 4 "#e0a458")
set cbrange [0.5:4.5]

plot "cost.dat" using ($3 / 2):1:($3 / 2):(0.38):4:ytic(2) with boxxyerror palette, \
     "" using 3:1:(sprintf(" %d", $3)) with labels left
