"""Counting checks for the interop scripts, closing with the line CTest and CI read."""
import sys


class Checks:
    def __init__(self):
        self.count = 0
        self.failures = []

    def __call__(self, cond, what):
        self.count += 1
        if not cond:
            self.failures.append(what)
            print("FAIL:", what)

    def finish(self):
        print(f"interop: {self.count - len(self.failures)} passed, {len(self.failures)} failed")
        sys.exit(1 if self.failures else 0)
