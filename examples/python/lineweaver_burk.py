"""The rates of an enzymatic reaction against the concentration of its substrate, as Lineweaver and
Burk drew them: 1/rate over 1/conc is a line. Formulas fit it for treated and untreated cells.

    lineweaver_burk.py [MEASUREMENTS.csv [PLOT.png]]
"""

import sys

import ktformula9
import matplotlib.pyplot as pyplot
import pandas

# Least squares: the sums are computed once for all rows.
DEFINITIONS = {
    "n": "COUNT([Measured])",
    "sx": "SUM([x])",
    "sy": "SUM([y])",
    "sxx": "SUM([x]*[x], [Measured])",
    "sxy": "SUM([x]*[y], [Measured])",
    "slope": "([n]*[sxy] - [sx]*[sy]) / ([n]*[sxx] - [sx]*[sx])",
    "intercept": "([sy] - [slope]*[sx]) / [n]",
}
FORMULAS = {
    "x": "1/[conc]",
    "y": "1/[rate]",
    "line": "[intercept] + [slope]*[x]",
    "deviation": "([y]-[line])/[line]",
    "Vmax": "1/[intercept]",
    "Km": "[slope]/[intercept]",
}


def draw(axes, state, fitted, color, marker):
    vmax, km = fitted[["Vmax", "Km"]].iloc[0]
    label = f"{state}: $V_{{max}}$ {vmax:.1f} counts/min², $K_m$ {km:.4f} ppm"
    axes.plot(fitted["x"], fitted["y"], marker, color=color, label=label)
    # From where the line meets the abscissa, at -1/Km, to the last point.
    ends = [-1 / km, fitted["x"].max()]
    axes.plot(ends, [(1 + km * x) / vmax for x in ends], color=color, linewidth=1)


def main(measurements="../data/puromycin.csv", plot=None):
    figure, axes = pyplot.subplots(figsize=(8, 5), layout="constrained")
    styles = iter([("tab:blue", "o"), ("tab:orange", "^")])
    for state, measured in pandas.read_csv(measurements).groupby("state"):
        fitted = ktformula9.calculate(
            measured, FORMULAS, definitions=DEFINITIONS, table="Measured"
        )
        print(f"{state}: Vmax {fitted['Vmax'].iloc[0]:.1f}, Km {fitted['Km'].iloc[0]:.4f}")
        print(fitted[["conc", "rate", "x", "y", "line", "deviation"]].round(5).to_string(index=False))
        draw(axes, state, fitted, *next(styles))
    axes.axhline(0, color="black", linewidth=0.8)
    axes.axvline(0, color="black", linewidth=0.8)
    axes.set_title("Puromycin: Lineweaver-Burk plot")
    axes.set_xlabel("1 / concentration of the substrate (1/ppm)")
    axes.set_ylabel("1 / initial rate (min²/counts)")
    axes.legend(loc="upper left", framealpha=1)
    if plot:
        figure.savefig(plot, dpi=150)
    else:
        pyplot.show()


main(*sys.argv[1:3])
