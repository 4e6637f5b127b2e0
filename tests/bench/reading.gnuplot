# How long one month takes to list, over the number of events.
set terminal svg size 760,460 font "sans-serif,13" background "white"
set output output
set datafile missing "?"
set logscale xy
set xlabel "events in the calendar, one file each"
set ylabel "milliseconds"
set format x "10^{%L}"
set format y "%g"
set grid
set key outside right
plot data using 1:2 with linespoints lc rgb "#d95f02" dt 1 pt 7 title "khal", \
     data using 1:3 with linespoints lc rgb "#7570b3" dt 1 pt 7 title "calcurse", \
     data using 1:4 with linespoints lc rgb "#888888" dt 1 pt 7 title "reading alone", \
     data using 1:5 with linespoints lc rgb "#1b9e77" dt 1 pt 7 lw 2 title "list-events", \
     data using 1:6 with linespoints lc rgb "#d95f02" dt 2 pt 6 title "khal, cold", \
     data using 1:7 with linespoints lc rgb "#7570b3" dt 2 pt 6 title "calcurse, cold", \
     data using 1:8 with linespoints lc rgb "#888888" dt 2 pt 6 title "reading alone, cold", \
     data using 1:9 with linespoints lc rgb "#1b9e77" dt 2 pt 6 lw 2 title "list-events, cold"
