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

    def test_a_paced_line_is_compared_with_the_bare_loop_of_the_same_run(self):
        def row(client, over):
            return {"client": client, "medium": "115200 baud", "baud": 115200, "cycle_ms": 1, "limit_ms": 1,
                    "over_limit": over, "cpu_us": 1, "wake_ups": 3, "device_idle": 0.5, "query_share": 0.001,
                    "queries_per_second": 1}

        lines = report.line([row("dx7", 1.079), row("bare loop", 1.07)], []).splitlines()
        self.assertTrue(any("| 1.079 | 1.080 | reached |" in line for line in lines))
        self.assertTrue(any("| 1.079 | 1.080 | reached | 1.078 |" in line for line in lines))
        lines = report.line([row("dx7", 1.081), row("bare loop", 1.07)], []).splitlines()
        self.assertTrue(any("| 1.081 | 1.080 | **missed** |" in line for line in lines))

    def test_over_tcp_dx7_is_held_to_libmodbus_and_to_three_system_calls(self):
        def row(client, over):
            return {"client": client, "medium": "tcp", "baud": 0, "per_second": 1000, "cpu_us": 20,
                    "over_libmodbus": over, "device_idle": 0.5, "queries_per_second": 1}

        calls = {"client": "dx7", "medium": "calls", "system_calls": 4.0}
        text = report.line([row("dx7", 1.01), row("bare loop", 0.8), calls], [])
        self.assertIn("| 1.01 | 1 | **missed** | 4.00 | 3 | **missed** |", text)
        self.assertIn("| bare loop | 1 000 | 20.0 | 0.80 |  |  |", text)

    def test_proof_is_held_to_its_share_of_a_slow_line(self):
        record = {"client": "dx7", "medium": "9600 baud", "baud": 9600, "query_share": 0.021, "queries_per_second": 1}
        self.assertIn("| 2.10 % | 2 % | **missed** |", report.proof_line([record]))

    def test_the_monitor_is_held_to_its_processor_time_and_wake_ups(self):
        now = [{"client": "dx7 monitor", "cpu_us": 201, "wake_ups": 4.04}, {"client": "bare loop", "cpu_us": 90, "wake_ups": 3}]
        text = report.monitor(now, [{"client": "dx7 monitor", "cpu_us": 594, "wake_ups": 28}])
        self.assertIn("| 201 | 200 | **missed** | 2.23 | 2.15 | **missed** | 4.0 | 4 | reached | 594, 28 |", text)

    def test_on_a_slower_machine_the_monitor_is_held_to_the_bare_loop(self):
        now = [{"client": "dx7 monitor", "cpu_us": 400, "wake_ups": 4}, {"client": "bare loop", "cpu_us": 200, "wake_ups": 3}]
        self.assertIn("| 400 | 200 | **missed** | 2.00 | 2.15 | reached |", report.monitor(now, []))

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
