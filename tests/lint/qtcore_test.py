"""What scripts/lint-qtcore finds, and what it lets pass. Usage: qtcore_test.py SOURCES"""

import importlib.machinery
import importlib.util
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

project = pathlib.Path(sys.argv.pop(1)).resolve()
script = project / "scripts/lint-qtcore"
loader = importlib.machinery.SourceFileLoader("lint_qtcore", str(script))
lint = importlib.util.module_from_spec(importlib.util.spec_from_loader("lint_qtcore", loader))
loader.exec_module(lint)

STRING = "#include <QtCore/QString>\n"
LISTS = "#include <QtCore/QList>\n#include <QtCore/QVector>\n"


class Sources(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def findings(self, source, header=None, old_compiler=True):
        (self.folder / "a.cpp").write_text(source)
        (self.folder / "a.h").write_text(header or "")
        return [text for _, text in lint.check(self.folder / "a.cpp", old_compiler)]

    def assert_found(self, what, source, header=None, old_compiler=True):
        found = self.findings(source, header, old_compiler)
        self.assertTrue(any(what in text for text in found), f"{what!r} is not in {found} for:\n{source}")

    def assert_clean(self, source, header=None, old_compiler=True):
        self.assertEqual([], self.findings(source, header, old_compiler), source)


class Includes(Sources):
    def test_a_class_that_is_named_is_included(self):
        for name in sorted(lint.CLASSES):
            source = f"void f(const {name}& x);\n"
            self.assert_found(f"names {name}", source)
            self.assert_clean(f"#include <QtCore/{name}>\n" + source)
            self.assert_clean(source, header=f"#include <QtCore/{name}>\n")

    def test_a_result_is_a_name_too(self):
        results = {
            "int n = text.split(QLatin1Char(',')).size();": "QStringList",
            "const QList<QString> all = text.split(QLatin1Char(','));": "QStringList",
            "f(QString::fromLatin1(\"a,b\").split(QLatin1Char(',')));": "QStringList",
            "f(names.join(comma));": "QStringList",
            "f(names.filter(text));": "QStringList",
            "f(text.toUtf8().constData());": "QByteArray",
            "f(text.toLatin1().size());": "QByteArray",
            "f(text->toLocal8Bit().size());": "QByteArray",
            "f(text.toAscii().size());": "QByteArray",
            "f(map.keys().size());": "QList",
            "f(map.values().size());": "QList",
            "f(list.toVector().size());": "QVector",
            "f(list.toSet().size());": "QSet",
        }
        for line, result in results.items():
            others = "".join(f"#include <QtCore/{name}>\n" for name in ("QString", "QHash", "QVector", "QList", "QSet",
                                                                       "QByteArray") if name != result)
            source = others + "void g() { " + line + " }\n"
            self.assert_found(f"uses a {result} that a function returns", source)
            self.assert_clean(f"#include <QtCore/{result}>\n" + source)

    def test_another_files_header_does_not_count(self):
        (self.folder / "b.h").write_text(STRING)
        self.assert_found("names QString", '#include "b.h"\nQString f();\n', header='#include "b.h"\n')

    def test_headers_must_include_what_they_name(self):
        (self.folder / "c.h").write_text("QString f();\n")
        self.assertEqual(1, len(lint.check(self.folder / "c.h", True)))

    def test_the_folder_is_part_of_the_name(self):
        self.assert_found("write <QtCore/QString> instead of <QString>", "#include <QString>\n")
        self.assert_found("write <QtCore/QString> instead of <qstring.h>", "#include <qstring.h>\n")
        self.assert_clean("#include <QtCore/qstring.h>\nQString f();\n")

    def test_names_beside_classes(self):
        self.assert_found("names qHash", STRING + "unsigned f() { return qHash(QString()); }\n")
        self.assert_found("names quint16", "quint16 f();\n")
        self.assert_found("names Q_ASSERT", "void f() { Q_ASSERT(true); }\n")
        self.assert_clean("#include <QtCore/QtGlobal>\nquint16 f();\n")

    def test_comments_and_texts_are_not_code(self):
        self.assert_clean('// QString\n/* QList<int>\n QHash */ const char* a = "QVector x.split(y)"; char b = \'"\';\n')

    def test_numbers_with_separators_do_not_open_texts(self):
        self.assert_found("names QString", "int a = 1'000; QString b; int c = 2'000;\n")


class Names(Sources):
    def test_younger_names(self):
        for line, what in {
            "for (int i : qAsConst(list)) f(i);": "qAsConst",
            "list.swapItemsAt(0, 1);": "swapItemsAt",
            "f(bytes.toHex(' '));": "toHex",
            "f(bytes.toHex().toStdString());": "toStdString",
            "f(QByteArray(\"a\").replace('a', 'b').toStdString());": "toStdString",
            "QByteArray mine; f(mine.toStdString());": "QByteArray::toStdString",
            "f(QByteArray::fromStdString(s));": "fromStdString",
            "f(QStringLiteral(\"a\"));": "QStringLiteral",
            "f(text.toStdU16String());": "toStdU16String",
            "f(QLatin1String(a, 3));": "QLatin1String",
            "QVector<int> v; v.removeFirst();": "QVector::removeFirst",
            "f(driver.recipeVars.removeLast());": "QVector::removeLast",
            "QList<int> l; f(l.crbegin());": "QList::crbegin",
            "QString s; f(s.back());": "QString::back",
            "int f() Q_DECL_OVERRIDE;": "Q_DECL_OVERRIDE",
            "QHash<int, int> h = {{1, 2}};": "QHash",
        }.items():
            for old_compiler in (False, True):
                source = STRING + LISTS + "#include <QtCore/QByteArray>\n#include <QtCore/QHash>\nvoid g() { " + line + " }\n"
                self.assert_found(f"does not have '{what}" if "::" in what else what, source, old_compiler=old_compiler)

    def test_younger_classes(self):
        for name in ("QTemporaryDir", "QJsonDocument", "QSaveFile", "QRegularExpression", "QStringView", "QCommandLineParser"):
            self.assert_found(f"QtCore 4.8 has no class {name}", f"#include <QtCore/{name}>\nvoid f({name}& x);\n")

    def test_lists_in_braces_are_for_newer_compilers(self):
        for line in ("QList<int> a{1, 2};", "f(QVector<int>{1});", "QStringList a = {b};", "const QList<QString> a = {b};"):
            source = "#include <QtCore/QStringList>\n" + STRING + LISTS + "void g() { " + line + " }\n"
            self.assert_found("with the panel's compiler", source, old_compiler=True)
            self.assert_clean(source, old_compiler=False)

    def test_what_48_has_passes(self):
        self.assert_clean(STRING + LISTS + "#include <QtCore/QByteArray>\n#include <QtCore/QStringList>\n" + """
            void f(QString text, QByteArray bytes, QList<int> list, std::vector<int> other) {
                text.toUtf8().toHex(); text.toStdString(); list.swap(list); list.move(0, 1); other.rbegin(); other.back();
                QLatin1String("a"); text.arg(1); list.removeFirst(); list.back(); bytes.toHex().constData();
                QString::number(static_cast<uint>(1), 16); thread.join();
            }""", old_compiler=False)


class Project(unittest.TestCase):
    def test_its_sources_are_clean(self):
        run = subprocess.run([sys.executable, "-B", script, *map(str, self.sources())], capture_output=True, text=True)
        self.assertEqual((0, "", ""), (run.returncode, run.stdout, run.stderr))

    def test_the_driver_and_its_tests_are_among_them(self):
        names = [str(path.relative_to(project)) for path in self.sources()]
        for name in ("driver/korvalent_dx7.cpp", "driver/include/records.h", "tests/driver/support.cpp",
                     "driver/self_test/korvalent_dx7_self_test.cpp"):
            self.assertIn(name, names)

    def test_no_include_can_be_left_out(self):
        """Each include of a class in the driver and its tests is missed when it is gone."""
        for folder in ("driver", "driver/include", "driver/self_test", "tests/driver"):
            for path in sorted((project / folder).glob("*.[hc]*")):
                for include in re.findall(r"^#include <QtCore/\w+>\n", path.read_text(), re.M):
                    with self.subTest(file=path.name, include=include.strip()):
                        self.assertTrue(self.misses(path, include), "is not missed")

    def misses(self, path, include):
        with tempfile.TemporaryDirectory() as folder:
            findings = []
            pair = [path.with_suffix(suffix) for suffix in (".h", ".cpp")]
            for source in (source for source in pair if source.is_file()):
                text = source.read_text()
                (pathlib.Path(folder) / source.name).write_text(text.replace(include, "") if source == path else text)
            for source in sorted(pathlib.Path(folder).iterdir()):
                findings += lint.check(source, False)
            return bool(findings)

    def sources(self):
        folders = [project / folder for folder in lint.FOLDERS]
        return sorted(path for folder in folders for path in folder.glob("*.[hc]*") if path.suffix in (".h", ".cpp"))


if __name__ == "__main__":
    unittest.main()
