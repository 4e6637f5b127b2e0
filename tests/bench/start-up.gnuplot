# How long a start takes.
set terminal svg size 760,300 font "sans-serif,13" background "white"
set output output
set style fill solid 0.8
set boxwidth 0.6
set logscale y
set yrange [0.1:*]
set ylabel "milliseconds"
set format y "%g"
set grid y
unset key
plot data using 1:3:xtic(2) with boxes lc rgb "#1b9e77", \
     data using 1:3:(sprintf("%.2g ms", $3)) with labels offset 0,0.7
