"""One module for each group of figures; each has `measure(bench) -> Section`."""
