"""What scripts/lint-arrows finds, and what it lets pass. Usage: arrows_test.py SOURCES"""

import importlib.machinery
import importlib.util
import pathlib
import subprocess
import sys
import tempfile
import unittest

project = pathlib.Path(sys.argv.pop(1)).resolve()
script = project / "scripts/lint-arrows"
loader = importlib.machinery.SourceFileLoader("lint_arrows", str(script))
lint = importlib.util.module_from_spec(importlib.util.spec_from_loader("lint_arrows", loader))
loader.exec_module(lint)


class Sources(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def findings(self, name, line):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("// One line.\n" + line + "\n")
        found = lint.check(self.root)
        path.unlink()
        return found

    def assert_found(self, name, line, sentence):
        self.assertEqual([f"{name}:2: includes {sentence}"], self.findings(name, line))

    def assert_clean(self, name, line):
        self.assertEqual([], self.findings(name, line))


class Arrows(Sources):
    def test_one_that_runs_up_is_found(self):
        self.assert_found("host/line/a.cpp", '#include "host/poll/b.h"',
                          "host/poll/b.h: host/line includes common and host beside itself")
        self.assert_found("host/cli/a.h", '#include "host/cli/commands/b.h"',
                          "host/cli/commands/b.h: host/cli includes common, host, host/line, host/driver, host/items, "
                          "host/exchange, host/poll and host/files beside itself")
        self.assert_found("device/station/a.h", '#include "device/server.h"',
                          "device/server.h: device/station includes common and device/line beside itself")

    def test_one_that_runs_down_passes(self):
        self.assert_clean("host/poll/a.cpp", '#include "host/exchange/b.h"')
        self.assert_clean("host/cli/main.cpp", '#include "host/cli/commands/b.h"')
        self.assert_clean("device/a.cpp", '#include "device/station/b.h"')
        self.assert_clean("device/line/a.cpp", '#include "common/b.h"')

    def test_one_within_a_room_passes(self):
        self.assert_clean("host/line/a.cpp", '#include "host/line/b.h"')
        self.assert_clean("host/line/deeper/a.cpp", '#include "host/line/b.h"')
        self.assert_clean("device/a.cpp", '#include "device/b.h"')

    def test_one_between_host_and_device_is_found(self):
        self.assert_found("host/line/a.h", '#include "device/line/b.h"',
                          "device/line/b.h: host/line includes common and host beside itself")
        self.assert_found("device/a.cpp", '#include "host/error.h"',
                          "host/error.h: device includes common, device/line and device/station beside itself")

    def test_common_and_driver_know_no_other_folder(self):
        self.assert_found("common/a.h", '#include "host/error.h"',
                          "host/error.h: common includes no other folder beside itself")
        self.assert_found("driver/a.h", '#include "common/crc16.h"',
                          "common/crc16.h: driver includes no other folder beside itself")

    def test_one_to_the_tests_is_found(self):
        self.assert_found("host/line/a.h", '#include "tests/kit/b.h"',
                          "tests/kit/b.h: it is in none of the folders of the plan")

    def test_the_driver_is_for_one_room(self):
        self.assert_clean("host/driver/a.h", '#include "korvalent_dx7.h"')
        self.assert_found("host/poll/a.h", '#include "korvalent_dx7.h"',
                          "korvalent_dx7.h: host/poll includes host, host/line, host/driver, host/items and host/exchange "
                          "beside itself")


class Names(Sources):
    def test_a_header_is_named_by_its_path(self):
        for name in ("host/line/a.cpp", "host/driver/a.cpp", "device/a.cpp", "common/a.cpp"):
            self.assert_found(name, '#include "a.h"',
                              "a.h: headers are named by their path from the root of the project")

    def test_the_driver_names_its_own_as_it_likes(self):
        self.assert_clean("driver/a.cpp", '#include "a.h"')

    def test_blanks_hide_nothing(self):
        self.assert_found("common/a.cpp", '  #  include  "a.h"',
                          "a.h: headers are named by their path from the root of the project")

    def test_qt_is_for_the_host(self):
        for header in ("QString", "QtCore/QString", "QtGlobal"):
            self.assert_found("common/a.h", f"#include <{header}>", f"{header}: common is without Qt")
            self.assert_found("device/line/a.h", f"#include <{header}>", f"{header}: device is without Qt")
            self.assert_clean("host/line/a.h", f"#include <{header}>")
        self.assert_clean("common/a.h", "#include <string>")


class ConfinedHeaders(Sources):
    def test_one_source_alone_includes_the_parser(self):
        self.assert_clean("common/command_line.cpp", "#include <CLI/CLI.hpp>")
        for name in ("common/command_line.h", "common/a.cpp", "host/cli/options.h", "device/options.cpp",
                     "tests/soak/main.cpp", "bench/a.cpp", "fuzz/a.cpp"):
            self.assert_found(name, "#include <CLI/App.hpp>", "CLI/App.hpp: common/command_line.cpp alone includes it")
        self.assert_found("host/cli/options.h", '#include "CLI/CLI.hpp"',
                          "CLI/CLI.hpp: common/command_line.cpp alone includes it")

    def test_one_source_of_the_programs_includes_the_json_library(self):
        self.assert_clean("host/cli/json.cpp", "#include <nlohmann/json.hpp>")
        for name in ("host/cli/json.h", "host/cli/output.h", "device/a.cpp", "fuzz/a.cpp"):
            self.assert_found(name, "#include <nlohmann/json.hpp>",
                              "nlohmann/json.hpp: host/cli/json.cpp alone includes it")
        for name in ("tests/soak/a.cpp", "bench/a.h"):
            self.assert_clean(name, "#include <nlohmann/json.hpp>")

    def test_the_tests_include_what_else_they_like(self):
        self.assert_clean("tests/soak/a.cpp", '#include "a.h"')
        self.assert_clean("tests/soak/a.cpp", "#include <gtest/gtest.h>")


class Project(unittest.TestCase):
    def test_every_arrow_of_the_plan_runs_down(self):
        order = list(lint.PLAN)
        for at, room in enumerate(order):
            for target in lint.PLAN[room]:
                self.assertIn(target, order[:at], f"{room} -> {target}")

    def test_it_keeps_to_the_plan(self):
        run = subprocess.run([sys.executable, "-B", script, project], capture_output=True, text=True)
        self.assertEqual((0, "", ""), (run.returncode, run.stdout, run.stderr))

    def test_a_finding_fails_the_run(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "common").mkdir()
            (pathlib.Path(folder) / "common/a.h").write_text('#include "host/error.h"\n')
            run = subprocess.run([sys.executable, "-B", script, folder], capture_output=True, text=True)
        self.assertEqual((1, "", "common/a.h:1: includes host/error.h: common includes no other folder beside itself\n"),
                         (run.returncode, run.stdout, run.stderr))

    def test_nothing_to_read_is_wrong_usage(self):
        run = subprocess.run([sys.executable, "-B", script, project / "docs"], capture_output=True, text=True)
        self.assertEqual(2, run.returncode)
        self.assertIn("there are no sources in", run.stderr)

    def test_no_arrow_of_the_plan_is_unused(self):
        used = set()
        for path in lint.sources(project):
            room = lint.room_of(path.relative_to(project).as_posix())
            for quoted, _ in lint.INCLUDE.findall(path.read_text()):
                target = "driver" if quoted in lint.INSTALLED else lint.room_of(quoted)
                used.add((room, target))
        unused = [f"{room} -> {target}" for room in lint.PLAN for target in lint.PLAN[room]
                  if (room, target) not in used]
        self.assertEqual([], unused)


if __name__ == "__main__":
    unittest.main()
