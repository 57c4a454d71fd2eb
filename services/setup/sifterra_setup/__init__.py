"""The parts of sifterra-setup: docs/administrator.md tells what it does, its manual page how it is called."""
