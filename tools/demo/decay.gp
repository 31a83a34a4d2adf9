# Energy decay of the factory programs' impulse responses.
# gnuplot -e "datafile='decay.dat'; pngfile='decay.png'; subtitle='...'" decay.gp
if (!exists("subtitle")) subtitle = ""

set terminal pngcairo size 1400,820 enhanced font "DejaVu Sans,13" linewidth 1.4
set output pngfile
set encoding utf8

set title "{/:Bold=17 Korro Tarrow — how long each factory program rings}\n{/=12 ".subtitle."}" offset 0,-0.4
set xlabel "time after the impulse (s)"
set ylabel "reverb energy still to come (dB)"
set xrange [0:2]
set yrange [-60:3]
set xtics 0.25 nomirror
set mxtics 5
set ytics 10 nomirror
set mytics 2
set grid xtics ytics mxtics mytics lc rgb "#e4e4e4" lw 0.8, lc rgb "#f3f3f3" lw 0.6
set border 3 lc rgb "#555555"
set key outside right center vertical reverse Left samplen 2.5 spacing 1.6 width 1 title "{/:Bold program (RT60)}" nobox
set lmargin 11

# Reference levels a listener knows: half-way down and the classic 60 dB.
set arrow from 0,-30 to 2,-30 nohead dt 3 lc rgb "#999999" lw 1
set label "−30 dB" at 1.995,-28.6 right tc rgb "#888888" font ",11"

set style data lines
set datafile columnheaders
# Eight distinguishable colours, light enough to overlap, dark enough to read.
array colours[8] = ["#1f77b4", "#ff7f0e", "#2ca02c", "#d62728", "#9467bd", "#8c564b", "#e377c2", "#17becf"]
plot for [i=2:9] datafile using 1:i title columnheader(i) lw 2.6 lc rgb colours[i-1]
