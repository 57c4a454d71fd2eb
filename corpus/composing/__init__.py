"""The parts of compose.py and check.py."""
