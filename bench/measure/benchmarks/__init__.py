"""One module for each subject; each has `measure(bench) -> Section`."""
