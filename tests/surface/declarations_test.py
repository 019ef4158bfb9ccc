#!/usr/bin/env python3
"""Holds that every form of a declaration is found, and that nothing else is taken for one."""
import unittest

from declarations import declared_names

DECLARED = {
    "int f(int);": {"f"},
    "int f(int) noexcept;": {"f"},
    "int f(int) noexcept(true);": {"f"},
    "int f(int a = g(3));": {"f"},
    "int f(int (*g)(int));": {"f"},
    "int f(X a = {1, 2});": {"f"},
    "DX7_EXPORT int f(QString& text);": {"f"},
    "auto f() -> int;": {"f"},
    "inline int f();": {"f"},
    "bool operator==(const X& a, const X& b);": {"operator="},
    "namespace n { int q(); }": {"q"},
    "namespace a::b { namespace c { int q(); } }": {"q"},
    'extern "C" { int f(int); extern int v; }': {"f", "v"},
    'extern "C" int f(int);': {"f"},
    "extern int arr[3];": {"arr"},
    "extern DX7_EXPORT korvalent_dx7 driver;": {"driver"},
    "extern void (*handler)(int);": {"handler"},
    "struct X { int g(int) const; };": {"g"},
    "class X : public Y { public: X(); static int g() noexcept; };": {"X", "g"},
    "struct X { int a; }; int f();": {"f"},
    "#define NOTHING \\\n int g();\nint f();": {"f"},
    "// int g();\n/* int h(); */ int f();": {"f"},
    "int a(); int b() { return 1; } int c();": {"a", "c"},
}

NOT_DECLARED = [
    "int f() { return g(1); }",
    "inline int f(); inline int f() { return 1; }",
    "const int SIZE = sizeof(int);",
    "const int TABLE[2] = {1, 2};",
    "static int f(int);",
    "typedef void (*Callback)(int);",
    "using Callback = void (*)(int);",
    'static_assert(sizeof(int) == 4, "f(int);");',
    "enum Result { GOOD = 1, BAD = 2 };",
    "struct X;",
    "struct X { int a; int b[3]; X() : a(0), b{1} {} X(const X&) = delete; ~X() = default; };",
    "struct X { int g() const { return a; } int a = h(1); friend int k(X); };",
    "class X { public: int g() { return 1; } private: Q_DISABLE_COPY(X) };",
    "template <typename T> T f(T);",
]


class DeclaredNames(unittest.TestCase):
    def test_every_declaration_is_found(self):
        for text, names in DECLARED.items():
            with self.subTest(text):
                self.assertEqual(names, declared_names(text))

    def test_nothing_else_is_taken_for_one(self):
        for text in NOT_DECLARED:
            with self.subTest(text):
                self.assertEqual(set(), declared_names(text))


if __name__ == "__main__":
    unittest.main()
