"""Some thousands of requests that are almost right; `./dev soak` sends a million."""

import unittest

from harness import Target
from hostile import Hostile


class Mutations(unittest.TestCase):
    def test_each_gets_an_answer(self):
        with Target('--max-queue', '100') as target:
            hostile = Hostile(target, 1)
            for _ in range(10):
                hostile.batch(500)
            for name in 'Get', 'Set', 'Subscribe':
                for code in 'OK', 'INVALID_ARGUMENT':
                    self.assertGreater(hostile.answers[name, code], 0, hostile.answers)


if __name__ == '__main__':
    unittest.main()
