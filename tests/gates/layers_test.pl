#!/usr/bin/env perl
# check-layers.pl on made up trees: each violation by itself is found, at its place, and nothing else is.
use strict;
use warnings;
use FindBin;
use lib $FindBin::Bin;
use MadeUpTree qw(tree run_script);
use Test::More;

my %clean = (
  'src/layers.txt' => "# rooms\nbase:\nbase/simd: base\nrecords: base\ngpu/kernels: base\ngpu: base gpu/kernels\nrun: *\n",
  'src/base/Text.h' => "#pragma once\n#include <string>\n",
  'src/base/Text.cpp' => "#include \"base/Text.h\"\n#include <cmath>\n",
  'src/base/simd/Register.h' => "#include \"base/Text.h\"\n",
  'src/records/Image.h' => "#pragma once\n\n#include \"base/Text.h\"\n",
  'src/gpu/kernels/Call.h' => "#include \"base/Text.h\"\n",
  'src/gpu/kernels/fast/Fast.cuh' => "#include \"gpu/kernels/Call.h\"\n",
  'src/gpu/Driver.cpp' => "#include \"gpu/kernels/Call.h\"\n#include \"gpu/kernels/fast/Fast.cuh\"\n",
  'src/run/Object.h' => "#include \"records/Image.h\"\n#include \"base/simd/Register.h\"\n#include \"gpu/kernels/Call.h\"\n",
);

my ($text, $status) = run_script('check-layers.pl', tree(%clean));
is($status, 0, 'a tree that keeps to its table passes') or diag $text;
like($text, qr/^layers: 8 files, 12 includes, 0 wrong$/m, 'and all of it was read');

# Each row is a file that is added to the clean tree, and the one line that it must bring.
for my $row (
  ['upwards', 'src/base/Up.h', "#pragma once\n#include \"records/Image.h\"\n",
   'src/base/Up.h:2: base may not include records: "records/Image.h"'],
  ['into a room inside', 'src/base/In.h', "#include \"base/simd/Register.h\"\n",
   'src/base/In.h:1: base may not include base/simd: "base/simd/Register.h"'],
  ['out of a room inside', 'src/gpu/kernels/Out.cu', "\n\n#include \"gpu/Driver.h\"\n",
   'src/gpu/kernels/Out.cu:3: gpu/kernels may not include gpu: "gpu/Driver.h"', 'src/gpu/Driver.h', "#pragma once\n"],
  ['from a folder of a room', 'src/gpu/kernels/fast/Out.h', "#include \"records/Image.h\"\n",
   'src/gpu/kernels/fast/Out.h:1: gpu/kernels may not include records: "records/Image.h"'],
  ['the object', 'src/gpu/Object.cpp', "#include \"run/Object.h\"\n",
   'src/gpu/Object.cpp:1: gpu may not include run: "run/Object.h"'],
  ['no such file', 'src/run/Lost.cpp', "#include \"base/Lost.h\"\n", 'src/run/Lost.cpp:1: "base/Lost.h" is no file of src/'],
  ['beside the file', 'src/run/Beside.cpp', "#include \"Object.h\"\n", 'src/run/Beside.cpp:1: "Object.h" is no file of src/'],
  ['relative', 'src/run/Relative.cpp', "#include \"../base/Text.h\"\n",
   'src/run/Relative.cpp:1: "../base/Text.h" is not written from src/ on'],
  ['relative further in', 'src/base/Relative.cpp', "#include \"base/../records/Image.h\"\n",
   'src/base/Relative.cpp:1: "base/../records/Image.h" is not written from src/ on'],
  ['with a dot', 'src/run/Dot.cpp', "#include \"./Object.h\"\n", 'src/run/Dot.cpp:1: "./Object.h" is not written from src/ on'],
  ['absolute', 'src/run/Absolute.cpp', "#include \"/usr/include/math.h\"\n",
   'src/run/Absolute.cpp:1: "/usr/include/math.h" is not written from src/ on'],
  ['in angle brackets', 'src/base/Angle.cpp', "#include <run/Object.h>\n",
   'src/base/Angle.cpp:1: <run/Object.h> is one of our own files: use quotes'],
  ['relative in angle brackets', 'src/base/Angle.cpp', "#include <../run/Object.h>\n",
   'src/base/Angle.cpp:1: <../run/Object.h> is one of our own files: use quotes'],
  ['by a macro', 'src/base/Macro.cpp', "#include OBJECT\n", 'src/base/Macro.cpp:1: an include that only the preprocessor can read'],
  ['by a digraph', 'src/base/Digraph.cpp', "%:include \"run/Object.h\"\n",
   'src/base/Digraph.cpp:1: an include that only the preprocessor can read'],
  ['on the next line', 'src/base/Next.cpp', "#\\\ninclude \"run/Object.h\"\n",
   'src/base/Next.cpp:1: an include that only the preprocessor can read'],
  ['asked for first', 'src/base/Asked.cpp', "#if __has_include(\"run/Object.h\")\n#endif\n",
   'src/base/Asked.cpp:1: an include that only the preprocessor can read'],
  ['in a file of another kind', 'src/base/Kind.inc', "#include \"run/Object.h\"\n",
   'src/base/Kind.inc:1: an unknown kind of file'],
  ['with spaces', 'src/base/Spaces.cpp', "  #  include   \"run/Object.h\"  // why\n",
   'src/base/Spaces.cpp:1: base may not include run: "run/Object.h"'],
  ['behind a comment', 'src/base/Comment.cpp', "/* a\n */ #include \"run/Object.h\"\n",
   'src/base/Comment.cpp:2: base may not include run: "run/Object.h"'],
  ['in a branch of the preprocessor', 'src/base/Branch.cpp', "#if 0\n#include \"run/Object.h\"\n#endif\n",
   'src/base/Branch.cpp:2: base may not include run: "run/Object.h"'],
  ['a folder without a row', 'src/attic/Old.h', "#pragma once\n", 'src/attic/Old.h:1: stands in no room of src/layers.txt'],
  ['into a folder without a row', 'src/run/Attic.cpp', "#include \"attic/New.h\"\n",
   'src/run/Attic.cpp:1: "attic/New.h" is no file of src/'],
  ['outside of all folders', 'src/Loose.h', "#pragma once\n", 'src/Loose.h:1: stands in no room of src/layers.txt'],
) {
  my ($name, $path, $content, $expected, %more) = @$row;
  ($text, $status) = run_script('check-layers.pl', tree(%clean, $path => $content, %more));
  is($status, 1, "$name: fails");
  my @lines = grep { !/^layers: / } split /\n/, $text;
  is_deeply(\@lines, [$expected], "$name: says where");
}

# What looks like an include and is none.
for my $row (
  ['a line comment', "// #include \"run/Object.h\"\n"],
  ['a comment over lines', "/*\n#include \"run/Object.h\"\n*/\n"],
  ['a raw string', "const char* text = R\"x(\n#include \"run/Object.h\"\n)x\";\n"],
  ['a string', "const char* text = \"#include \\\"run/Object.h\\\"\";\n"],
) {
  my ($name, $content) = @$row;
  ($text, $status) = run_script('check-layers.pl', tree(%clean, 'src/base/Text.cpp' => $content));
  is($status, 0, "$name is no include") or diag $text;
}

# Tables that can't be read.
for my $row (
  ['a missing one', undef, qr{can't read .*src/layers\.txt}],
  ['a line of another form', "base\n", qr{src/layers\.txt:1: not ROOM: ROOMS}],
  ['a room twice', "base:\nbase:\n", qr{src/layers\.txt:2: base stands there twice}],
  ['an unknown room', "base: attic\n", qr{src/layers\.txt: base may include attic, which is no room}],
) {
  my ($name, $table, $message) = @$row;
  my %files = (%clean, 'src/layers.txt' => $table);
  delete $files{'src/layers.txt'} if !defined $table;
  ($text, $status) = run_script('check-layers.pl', tree(%files));
  isnt($status, 0, "$name fails");
  like($text, $message, "$name is named");
}

($text, $status) = run_script('check-layers.pl', tree('src/layers.txt' => "base:\n"));
is($status, 1, 'a tree without sources does not pass');

done_testing();
