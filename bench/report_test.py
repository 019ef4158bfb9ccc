#!/usr/bin/env python3
"""What report.py makes of figures: tables, verdicts, and their place in the document."""
import unittest

import report


def run(name, **figures):
    return {"run_name": name + "/manual_time", "run_type": "iteration", **figures}


class Report(unittest.TestCase):
    def test_an_item_is_held_to_its_cost_among_few_in_polling_order(self):
        def rate(items, random, ns):
            return run(f"intf_getData/items:{items}/random:{random}", items_per_second=1e9 / ns)

        text = report.walk([rate(60, 0, 10), rate(10000, 0, 13), rate(60, 1, 10), rate(10000, 1, 40)])
        self.assertIn("| intf_getData | polling | 10.0 | 13.0 | 1.30 | 1.3 | reached |", text)
        self.assertIn("| intf_getData | random | 10.0 | 40.0 | 4.00 |  |  |", text)
        self.assertIn("| 1.31 | 1.3 | **missed** |", report.walk([rate(60, 0, 10), rate(10000, 0, 13.1)]))

    def test_the_median_of_the_repetitions_counts(self):
        results = [run(f"decode/items:{items}/random:0", items_per_second=1e9 / ns)
                   for items in (60, 10000) for ns in (1, 10, 99)]
        self.assertIn("| 10.0 | 10.0 | 1.00 |", report.walk(results))

    def test_shuffled_entries_are_held_to_a_time_and_a_ratio(self):
        def time(shape, planning, items, ms):
            return run(f"{shape}/{planning}/items:{items}", real_time=1e6 * ms, time_unit="ns")

        results = [time(shape, *rest) for shape in ("sorted", "shuffled") for rest in
                   (("first", 1000, 20), ("first", 10000, 301), ("again", 1000, 1), ("again", 10000, 20))]
        text = report.plan(results)
        self.assertIn("| shuffled | 20.00 | 301.00 | 300 | **missed** | 1.00 | 20.00 | 20.0 | 20 | reached |", text)
        self.assertIn("| sorted | 20.00 | 301.00 |  |  | 1.00 | 20.00 | 20.0 |  |  |", text)

    def test_a_transaction_is_held_to_its_limits(self):
        text = report.transaction([{"what": "instructions", "case": "same", "counted": 13000, "limit": 13000},
                                   {"what": "allocations", "case": "changed", "counted": 3, "limit": 2}])
        self.assertIn("nothing changed: instructions | 13 000 | 13 000 | reached |", text)
        self.assertIn("allocations of a thousand | 3 | 2 | **missed** |", text)

    def test_a_paced_line_is_compared_with_the_bare_loop_of_the_same_run(self):
        def row(client, over):
            return {"client": client, "baud": 115200, "cycle_ms": 1, "limit_ms": 1, "over_limit": over, "cpu_us": 1,
                    "wake_ups": 3, "device_idle": 0.5, "query_share": 0.001}

        text = report.paced([row("dx7", 1.079), row("bare loop", 1.07)])
        self.assertIn("| 1.079 | 1.080 | reached | 1.078 |", text)
        self.assertIn("| 1.081 | 1.080 | **missed** |", report.paced([row("dx7", 1.081), row("bare loop", 1.07)]))

    def test_over_tcp_dx7_is_held_to_libmodbus_and_to_three_system_calls(self):
        def row(client, over):
            return {"client": client, "per_second": 1000, "cpu_us": 20, "over_libmodbus": over, "device_idle": 0.5}

        text = report.tcp([row("dx7", 1.01), row("bare loop", 0.8)], {"dx7": 4.0, "bare loop": 3.0})
        self.assertIn("| 1.01 | 1 | **missed** | 4.00 | 3 | **missed** |", text)
        self.assertIn("| bare loop | 1 000 | 20.0 | 0.80 |  |  | 3.00 |  |  |", text)

    def test_proof_is_held_to_its_share_of_a_slow_line(self):
        result = {"medium": "9600 baud", "baud": 9600, "query_share": 0.021, "queries_per_second": 1}
        self.assertIn("| 2.10 % | 2 % | **missed** |", report.proof([result]))

    def test_the_monitor_is_held_to_its_processor_time_to_the_bare_loop_and_to_its_wake_ups(self):
        bare = {"client": "bare loop", "cpu_us": 90, "wake_ups": 3}
        text = report.monitor([{"client": "dx7 monitor", "cpu_us": 201, "wake_ups": 4.04}, bare])
        self.assertIn("| 201 | 200 | **missed** | 2.23 | 2.15 | **missed** | 4.0 | 4 | reached |", text)

    def test_figures_replace_those_of_their_own_part_alone(self):
        place = "<!-- figures: {} -->\nold\n<!-- end of figures -->\n"
        document = place.format("walk") + "prose\n" + place.format("plan")
        changed = report.put_in(document, "plan", "new")
        self.assertEqual(place.format("walk") + "prose\n" + place.format("plan").replace("old", "\nnew\n"), changed)


if __name__ == "__main__":
    unittest.main()
