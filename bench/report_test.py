#!/usr/bin/env python3
"""What report.py makes of figures: tables, verdicts, and their place in the document."""
import unittest

import report


class Report(unittest.TestCase):
    def test_a_ratio_above_its_limit_is_missed_and_one_at_the_limit_is_reached(self):
        def row(operation, order, items, ratio):
            return {"operation": operation, "order": order, "items": items, "ns": 10 * ratio, "ratio": ratio}

        now = [row("get", "polling", 60, 1), row("get", "polling", 1000, 1.3),
               row("get", "random", 60, 1), row("get", "random", 1000, 3.01)]
        lines = report.walk(now, []).splitlines()
        self.assertIn("| 1.30 | 1.3 | reached |", lines[2])
        self.assertIn("| 3.01 | 3 | **missed** |", lines[3])

    def test_the_figure_before_stands_beside_the_one_now(self):
        now = [{"case": "same", "instructions": 5000, "functions": {}}]
        before = [{"case": "same", "instructions": 10000, "functions": {}}]
        self.assertIn("| 5 000 | 10 000 | 2.0 times fewer |", report.transaction(now, before))

    def test_no_table_without_figures(self):
        for name, part in report.PARTS.items():
            self.assertIsNone(part([], []), name)

    def test_figures_replace_those_of_their_own_part_alone(self):
        place = "<!-- figures: {} -->\nold\n<!-- end of figures -->\n"
        document = place.format("walk") + "prose\n" + place.format("plan")
        changed = report.put_in(document, "plan", "new")
        self.assertEqual(place.format("walk") + "prose\n" + place.format("plan").replace("old", "\nnew\n"), changed)

    def test_functions_of_callgrind_are_named_without_what_the_compiler_adds(self):
        self.assertEqual("AreaIndex::findOrAppend", report.short_name(
            "???:(anonymous namespace)::AreaIndex::findOrAppend(int, QString const&, int) [clone .constprop.0] [/a/b.so]"))
        self.assertEqual("memcpy", report.short_name("./string/a.S:__memcpy_avx_unaligned_erms [/usr/lib/libc.so.6]"))
        self.assertEqual("malloc", report.short_name("./malloc/./malloc/malloc.c:malloc [/usr/lib/libc.so.6]"))
        self.assertEqual("inside QtCore", report.short_name("???:0x000000000014d8d0 [/usr/lib/libQt5Core.so.5]"))

    def test_the_picture_shows_both_and_escapes_names(self):
        record = [{"case": "same", "functions": {"QList<X>::append": 10.0}}]
        picture = report.picture(record, record)
        self.assertIn("QList&lt;X&gt;::append", picture)
        self.assertIn("before 10, now 10 instructions", picture)


if __name__ == "__main__":
    unittest.main()
