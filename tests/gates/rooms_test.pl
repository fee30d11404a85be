#!/usr/bin/env perl
# cmake/OrvoRooms.cmake and check-sight.pl on a made up tree: the compiler finds what the table allows, and nothing else.
#   rooms_test.pl CMAKE GENERATOR COMPILER
use strict;
use warnings;
use FindBin;
use lib $FindBin::Bin;
use MadeUpTree qw(tree run_script scripts_folder);
use Test::More;

my ($cmake, $generator, $compiler) = @ARGV;
die "usage: $0 CMAKE GENERATOR COMPILER\n" if !defined $compiler;
my $modules = scripts_folder() . '/../cmake';

my $lists = <<"END";
cmake_minimum_required(VERSION 3.25)
project(rooms LANGUAGES CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
list(APPEND CMAKE_MODULE_PATH "$modules")
option(NO_LINKS "Let every link fail" OFF)
if(NO_LINKS)
  macro(file mode)
    if("\${mode}" STREQUAL CREATE_LINK)
      set(status "not permitted")
    else()
      _file(\${mode} \${ARGN})
    endif()
  endmacro()
endif()
include(OrvoRooms)
add_library(run STATIC src/run/BundleAdjustment.cpp)
target_include_directories(run PUBLIC src)
foreach(room base base/simd records gpu/kernels gpu)
  string(REPLACE / _ name \${room})
  file(GLOB sources CONFIGURE_DEPENDS src/\${room}/*.cpp)
  add_library(\${name} STATIC \${sources})
  orvo_see_rooms(\${name} \${room})
endforeach()
target_link_libraries(records PUBLIC base)
target_link_libraries(gpu PUBLIC gpu_kernels records)
# Links to a library further up do not show its rooms.
target_link_libraries(base_simd PUBLIC gpu)
END

my %files = (
  'CMakeLists.txt' => $lists,
  'src/layers.txt' => "# rooms\nbase:\nbase/simd: base\nrecords: base\ngpu/kernels: base\ngpu: base records gpu/kernels\nrun: *\n",
  'src/base/Text.h' => "#pragma once\nstruct Text {};\n",
  'src/base/Text.cpp' => "#include \"base/Text.h\"\n",
  'src/base/plain/Plain.h' => "#pragma once\n#include \"base/Text.h\"\n",
  'src/base/simd/Register.h' => "#pragma once\n#include \"base/Text.h\"\nstruct Register {};\n",
  'src/base/simd/Register.cpp' => "#include \"base/simd/Register.h\"\n#include \"base/plain/Plain.h\"\n",
  'src/records/Image.h' => "#pragma once\n#include \"base/Text.h\"\nstruct Image { Text text; };\n",
  # The same header by two ways is taken once.
  'src/records/Image.cpp' => "#include \"records/Image.h\"\n#include \"../base/Text.h\"\n#include \"base/plain/Plain.h\"\n",
  'src/gpu/kernels/Call.h' => "#pragma once\n#include \"base/Text.h\"\n",
  'src/gpu/kernels/fast/Fast.h' => "#pragma once\n#include \"gpu/kernels/Call.h\"\n",
  'src/gpu/kernels/Call.cpp' => "#include \"gpu/kernels/fast/Fast.h\"\n",
  'src/gpu/Driver.h' => "#pragma once\n#include \"gpu/kernels/Call.h\"\n#include \"records/Image.h\"\n",
  'src/gpu/Driver.cpp' => "#include \"gpu/Driver.h\"\n",
  'src/run/BundleAdjustment.h' => "#pragma once\n#include \"gpu/Driver.h\"\n#include \"base/simd/Register.h\"\n",
  'src/run/BundleAdjustment.cpp' => "#include \"run/BundleAdjustment.h\"\n",
);
my $tree = tree(%files);

sub command {
  open(my $output, '-|', 'sh', '-c', 'exec "$@" 2>&1', 'sh', @_) or die "can't run $_[0]: $!\n";
  my $text = do { local $/; <$output> };
  close $output;
  return (defined $text ? $text : '', $? >> 8);
}
sub configure {
  return command($cmake, '-S', $tree, '-B', "$tree/build", '-G', $generator, "-DCMAKE_CXX_COMPILER=$compiler", @_);
}
sub build { return command($cmake, '--build', "$tree/build") }
sub write_file {
  my ($path, $content) = @_;
  # The build goes by times of files, which may be as coarse as a second for make.
  sleep 1 if $generator ne 'Ninja';
  open(my $file, '>:raw', "$tree/$path") or die "can't write $path: $!\n";
  print $file $content;
  close $file;
}

my ($text, $status) = configure();
is($status, 0, 'is configured') or BAIL_OUT($text);
($text, $status) = build();
is($status, 0, 'what the table allows is compiled') or diag $text;
($text, $status) = run_script('check-sight.pl', "$tree/build", $tree);
is($status, 0, 'no source below run/ sees the object') or diag $text;
like($text, qr/^sight: 5 sources in 5 folders, 0 wrong$/m, 'and all of them were tried');

# Each row is an include planted in a source that was good; it must fail for that there is no such file.
for my $row (
  ['src/base/Text.cpp', 'records/Image.h'],
  ['src/base/Text.cpp', 'base/simd/Register.h'],
  ['src/base/Text.cpp', 'run/BundleAdjustment.h'],
  ['src/base/simd/Register.cpp', 'gpu/Driver.h'],
  ['src/records/Image.cpp', 'gpu/kernels/Call.h'],
  ['src/records/Image.cpp', 'base/simd/Register.h'],
  ['src/gpu/kernels/Call.cpp', 'gpu/Driver.h'],
  ['src/gpu/kernels/Call.cpp', 'records/Image.h'],
  ['src/gpu/kernels/fast/Fast.h', 'gpu/Driver.h'],
  ['src/gpu/Driver.cpp', 'run/BundleAdjustment.h'],
  ['src/gpu/Driver.h', 'base/simd/Register.h'],
) {
  my ($path, $include) = @$row;
  write_file($path, "$files{$path}#include \"$include\"\n");
  ($text, $status) = build();
  isnt($status, 0, "$path can't include $include");
  like($text, qr/\Q$include\E.*(?:No such file|file not found)/, "$path does not find $include");
  write_file($path, $files{$path});
}
($text, $status) = build();
is($status, 0, 'the good tree is compiled again') or diag $text;

write_file('src/base/New.h', "#pragma once\n");
write_file('src/records/Image.cpp', "$files{'src/records/Image.cpp'}#include \"base/New.h\"\n");
($text, $status) = build();
is($status, 0, 'a new header of a room that is seen in part is found without a new configuration by hand') or diag $text;
unlink "$tree/src/base/New.h";
write_file('src/records/Image.cpp', $files{'src/records/Image.cpp'});
($text, $status) = build();
is($status, 0, 'and may go again') or diag $text;

write_file('src/layers.txt', $files{'src/layers.txt'} =~ s/^records: base$/records: base base\/simd/mr);
write_file('src/records/Image.cpp', "$files{'src/records/Image.cpp'}#include \"base/simd/Register.h\"\n");
($text, $status) = build();
is($status, 0, 'a changed table is heeded by the next build') or diag $text;
write_file('src/layers.txt', $files{'src/layers.txt'});
write_file('src/records/Image.cpp', $files{'src/records/Image.cpp'});

write_file('src/layers.txt', $files{'src/layers.txt'} =~ s/^(records|gpu\/kernels):.*$/$1: */mgr);
($text, $status) = configure();
($text, $status) = run_script('check-sight.pl', "$tree/build", $tree);
is($status, 1, 'rooms that see everything do not pass');
is_deeply([grep { !/^sight: / } split /\n/, $text],
          ['src/gpu/kernels/Call.cpp:1: can include "run/BundleAdjustment.h"',
           'src/records/Image.cpp:1: can include "run/BundleAdjustment.h"'], 'and are named');
write_file('src/layers.txt', $files{'src/layers.txt'});
configure();

rename "$tree/src/run/BundleAdjustment.h", "$tree/src/run/Renamed.h";
($text, $status) = run_script('check-sight.pl', "$tree/build", $tree);
is($status, 1, 'an object that nobody finds proves nothing');
like($text, qr/^src\/run: no source there can include/m, 'which is said');
rename "$tree/src/run/Renamed.h", "$tree/src/run/BundleAdjustment.h";

($text, $status) = configure('-DNO_LINKS=ON');
is($status, 0, 'without links it is configured all the same');
like($text, qr/Links can't be made here/, 'and says so');
($text, $status) = build();
is($status, 0, 'and compiled with all of src/ in sight') or diag $text;

write_file('src/layers.txt', "base: attic\n");
($text, $status) = configure();
isnt($status, 0, 'a table with an unknown room is refused');
like($text, qr/base may include attic, which is no\s+room/, 'which is said');

done_testing();
