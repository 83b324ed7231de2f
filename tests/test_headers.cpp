// Stands for the headers that are precompiled.
