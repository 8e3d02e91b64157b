"""The program of `./run`: shows the daemon at work on the simulated device."""
