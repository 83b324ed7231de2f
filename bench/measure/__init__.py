"""Runs the programs of bench/, compares them and writes docs/performance.md."""
