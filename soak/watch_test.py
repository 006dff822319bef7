"""The soak's judgement: what it takes for growth, and what not."""
import random
import unittest

import watch

STEADY = {"descriptors": 8, "threads": 1, "private memory": 20000, "endpoint files": 1,
          "work files": 13}


def run(sessions, **series):
    """Samples of so many sessions; a series is a function of the session, others are steady."""
    return [{**STEADY, **{name.replace("_", " "): series[name](at) for name in series}}
            for at in range(sessions)]


KINDS = 40


class WatchTest(unittest.TestCase):
    def grown(self, samples):
        return watch.judge(samples, KINDS)[1]

    def test_what_is_steady_has_not_grown(self):
        self.assertEqual(self.grown(run(100)), [])

    def test_a_descriptor_in_thirty_sessions_has_grown(self):
        self.assertEqual(self.grown(run(100, descriptors=lambda at: 8 + at // 30)), ["descriptors"])

    def test_a_thread_in_a_thousand_sessions_has_grown_in_two_thousand(self):
        self.assertEqual(self.grown(run(2000, threads=lambda at: 1 + at // 1000)), ["threads"])

    def test_files_that_pile_up_have_grown(self):
        samples = run(100, endpoint_files=lambda at: at, work_files=lambda at: at)
        self.assertEqual(self.grown(samples), ["endpoint files", "work files"])

    def test_two_kilobytes_a_session_have_grown_in_two_thousand(self):
        self.assertEqual(self.grown(run(2000, private_memory=lambda at: 20000 + 2 * at)),
                         ["private memory"])

    def test_what_was_taken_once_at_the_beginning_has_not_grown(self):
        self.assertEqual(self.grown(run(100, descriptors=lambda at: 8 + min(at, 39),
                                        private_memory=lambda at: 5000 + 1000 * min(at, 39))), [])

    def test_what_comes_and_goes_has_not_grown(self):
        chance = random.Random(1)
        samples = run(400, endpoint_files=lambda _: chance.choice((1, 1, 1, 3)),
                      private_memory=lambda _: chance.randrange(20000, 20900))
        self.assertEqual(self.grown(samples), [])

    def test_what_shrinks_has_not_grown(self):
        self.assertEqual(self.grown(run(100, descriptors=lambda at: 100 - at)), [])

    def test_what_is_not_limited_is_told_and_may_grow(self):
        samples = run(100, private_memory=lambda at: 20000 + 1000 * at)
        lines, grown = watch.judge(samples, KINDS, ("private memory",))
        self.assertEqual(grown, [])
        self.assertTrue(any(line.startswith("private memory: 82000") for line in lines))

    def test_few_sessions_are_not_judged_and_it_says_so(self):
        lines, grown = watch.judge(run(KINDS + 10, descriptors=lambda at: at), KINDS)
        self.assertEqual(grown, [])
        self.assertIn("too few", lines[0])


if __name__ == "__main__":
    unittest.main()
