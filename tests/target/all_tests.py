"""Every test of the target that takes seconds."""

import sys
import unittest

if __name__ == '__main__':
    suite = unittest.defaultTestLoader.discover('.', pattern='*_test.py')
    assert suite.countTestCases() > 0
    sys.exit(not unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful())
