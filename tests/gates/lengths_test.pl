#!/usr/bin/env perl
# check-lengths.pl on made up trees: what is too long by one line is found, what just fits is not.
use strict;
use warnings;
use FindBin;
use lib $FindBin::Bin;
use MadeUpTree qw(tree run_script scripts_folder);
use Test::More;

use lib scripts_folder();
use OrvoSources qw(functions_of);

sub lines { return join '', map { "// $_\n" } 1 .. $_[0] }
sub statements { return join '', map { "  Step($_);\n" } 1 .. $_[0] }

# ---- Files: each kind at its limit, and one line beyond.
for my $row (
  ['src/base/A.h', 399], ['app/A.h', 399], ['tests/base/A.h', 399], ['bench/A.h', 399], ['src/gpu/A.cuh', 399],
  ['src/base/A.cpp', 499], ['app/A.cpp', 499], ['tests/base/a_test.cpp', 499], ['bench/A.cpp', 499],
  ['src/gpu/kernels/A.cu', 499], ['src/run/BundleAdjustment.h', 200],
) {
  my ($path, $most) = @$row;
  my ($text, $status) = run_script('check-lengths.pl', tree($path => lines($most)));
  is($status, 0, "$path fits with $most lines") or diag $text;
  ($text, $status) = run_script('check-lengths.pl', tree($path => lines($most + 1)));
  is($status, 1, "$path is too long with one more");
  like($text, qr/^\Q$path\E:\d+: @{[$most + 1]} lines, at most $most are allowed$/m, "$path: says so");
}
my ($text, $status) = run_script('check-lengths.pl', tree('src/base/A.h' => lines(399) . '// without an end of line'));
is($status, 1, 'a last line without an end counts');
($text, $status) = run_script('check-lengths.pl', tree('src/notes.txt' => lines(1000)));
is($status, 1, 'a tree without sources does not pass');

# ---- Functions: each form with 79 lines passes, with 80 it fails under its name and at its first line.
for my $row (
  ['free', "int Free(int a) {\n", "}\n", 'Free'],
  ['in namespaces', "namespace orvo::gpu {\nnamespace {\nvoid In() {\n", "}\n}  // namespace\n}\n", 'In', 3],
  ['in a C block', "extern \"C\" {\nvoid Plain() {\n", "}\n}\n", 'Plain', 2],
  ['member', "int CObject::Member(int a) const noexcept {\n", "}\n", 'CObject::Member'],
  ['inside of a class', "class A : public B<int> {\n public:\n  void In() override {\n", "}\n  int a = 1;\n};\n", 'In', 3],
  ['of a template', "template <typename T, int N = (1 << 2)>\nT Make(T a) {\n", "}\n", 'Make'],
  ['of a template of templates', "template <template <class> class C>\nvoid Make() {\n", "}\n", 'Make'],
  ['over lines', "static std::vector<int>\nLong(const std::map<int, int>& a,\n     int b = 3) {\n", "}\n", 'Long'],
  ['with a trailing result', "auto Trail(int a) -> std::pair<int, int> {\n", "}\n", 'Trail'],
  ['constructor', "A::A(int b) : a_(b), c_{1, 2}, d_{} {\n", "}\n", 'A::A'],
  ['constructor over lines', "A::A(int b)\n    : Base<int>{b},\n      c_(b) {\n", "}\n", 'A::A'],
  ['destructor', "A::~A() {\n", "}\n", 'A::~A'],
  ['operator', "bool operator==(const A& a, const A& b) {\n", "}\n", 'operator=='],
  ['assignment', "A& A::operator=(const A& a) {\n", "}\n", 'A::operator='],
  ['call operator', "struct F {\n  int operator()(int a) const {\n", "}\n};\n", 'operator()', 2],
  ['kernel', "__global__ void __launch_bounds__(256) Kernel(int a) {\n", "}\n", 'Kernel'],
  ['test', "TEST(Suite, Case) {\n", "}\n", 'TEST(Suite, Case)'],
  ['test with a fixture', "TEST_P(Suite, Case) {\n", "}\n", 'TEST_P(Suite, Case)'],
  ['lambda of a namespace', "const auto kMake = [](int a) {\n", "};\n", 'kMake'],
  ['behind a table', "const int kTable[] = {1, 2,\n  3};\nstd::atomic<int> count{0};\nvoid After() {\n", "}\n", 'After', 4],
  ['behind a declaration', "void Declared(int a);\nenum class E : int { kA, kB };\nvoid After() {\n", "}\n", 'After', 3],
  ['with a struct as result', "struct stat StatusOf(int a) {\n", "}\n", 'StatusOf'],
  ['behind attributes', "[[nodiscard]] __attribute__((noinline)) int Marked() {\n", "}\n", 'Marked'],
) {
  my ($name, $open, $close, $function, $line) = @$row;
  $line //= 1;
  # The lines before the body's first statement that belong to the function, and its closing brace.
  my $own = ($open =~ tr/\n//) - $line + 2;
  my ($fits, $long) = map { $open . statements($_ - $own) . $close } 79, 80;
  my ($text, $status) = run_script('check-lengths.pl', tree('src/base/A.cpp' => $fits));
  is($status, 0, "$name: fits") or diag $text;
  ($text, $status) = run_script('check-lengths.pl', tree('src/base/A.cpp' => $long));
  is($status, 1, "$name: too long");
  my @wrong = grep { !/^lengths: / } split /\n/, $text;
  is_deeply(\@wrong, ["src/base/A.cpp:$line: $function has 80 lines, at most 79 are allowed"], "$name: says which");
}

# ---- What could mislead the count of braces: NAME:LINES of each function of a text.
sub counted { return join ' ', map { "$_->{name}:$_->{lines}" } functions_of($_[0]) }
for my $row (
  ['braces in literals', "void A() {\n  Use(\"{\", '{', R\"x(\n{{ \" )x\");\n}\nvoid B() {}\n", 'A:4 B:1'],
  ['a quote in a character', "void A() {\n  Use('\"', '\\'', '{');\n}\nvoid B() {}\n", 'A:3 B:1'],
  ['braces in comments', "// {\n/* {\n{ */ void A() {  // }\n}\n", 'A:2'],
  ['separators of digits', "void A() {\n  Use(1'000'000, 0x7f'ff, 1e-5);\n}\nvoid B() {}\n", 'A:3 B:1'],
  ['macros', "#define OPEN(a) { \\\n  {\nvoid A() {\n}\n", 'A:2'],
  ['branches of the preprocessor', "#ifdef X\nvoid A(int a) {\n#else\nvoid A() {\n#endif\n  Step();\n}\nvoid B() {}\n", 'A:4 B:1'],
  ['lambdas and local types inside', "void A() {\n  struct L {\n    int F() { return 1; }\n  };\n  Do([&] {\n  });\n}\n", 'A:7'],
  ['tables of lambdas', "const Row kRows[] = {{1, [](int a) { return a; }},\n  {2, nullptr}};\nvoid A() {}\n", 'A:1'],
  ['members with braces', "struct A {\n  int b{1};\n  std::array<int, 2> c = {1, 2};\n  B d = B(1, 2);\n  void F() {}\n};\n", 'F:1'],
  ['concepts', "template <class T>\nconcept C = requires(T a) { a.b(); };\ntemplate <class T>\n  requires C<T>\nvoid A() {\n}\n", 'A:4'],
  ['several in a line', "void A() {} void B() {}\n", 'A:1 B:1'],
  ['declared and defaulted', "struct A {\n  A() = default;\n  A(int b);\n  bool operator==(const A&) const = default;\n};\nvoid B() {}\n", 'B:1'],
) {
  my ($name, $text, $expected) = @$row;
  is(counted($text), $expected, $name);
}
for my $row (['one brace too few', "void A() {\n"], ['one brace too many', "void A() {\n}\n}\n"]) {
  my ($text, $status) = run_script('check-lengths.pl', tree('src/base/A.cpp' => $row->[1]));
  is($status, 1, "$row->[0] does not pass");
  like($text, qr/^src\/base\/A\.cpp:1: can't be measured: braces do not match/m, "$row->[0] is said");
}

done_testing();
