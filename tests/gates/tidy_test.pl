#!/usr/bin/env perl
# check-tidy.pl on a made up tree, with a stand-in for clang-tidy that objects to BAD and notes what it was called for.
use strict;
use warnings;
use FindBin;
use JSON::PP;
use lib $FindBin::Bin;
use MadeUpTree qw(tree run_script);
use Test::More;
delete $ENV{ORVO_TIDY_CACHE};

my $stand_in = <<'END';
#!/bin/sh
here=$(dirname "$0")
if [ "$1" = --version ]; then cat "$here/version"; exit 0; fi
for word; do
  [ "$word" = -- ] && break
  file=$word
done
sources=$(sed -n 's|^#include "\(/.*\.cpp\)"$|\1|p' "$file")
[ -n "$sources" ] || sources=$file
for each in $sources; do echo "$each"; done >>"$here/calls"
[ "$sources" != "$file" ] && [ "$(cat $sources | grep -c SAME)" -gt 1 ] && echo "$file:1:1: error: twice [clang-diagnostic-error]"
grep -q CRASH $sources && kill -SEGV $$
grep -q HIDDEN $sources && exit 1
for each in $sources "$here"/src/base/*.h; do
  grep -n BAD "$each" | sed "s|^\([0-9]*\):.*|$each:\1:1: warning: bad [bugprone-bad]|"
done
echo "12 warnings generated"
END
my $tree = tree(
  'clang-tidy' => $stand_in,
  'version' => "version 1\n",
  '.clang-tidy' => "Checks: bugprone-bad\n",
  'src/base/A.h' => "#pragma once\n",
  'src/block/B.h' => "#include \"base/A.h\"\n",
  'src/base/A.cpp' => "#include \"base/A.h\"\n",
  'src/base/C.cpp' => "int c;\n",
  'src/block/B.cpp' => "#include \"block/B.h\"\n",
  'app/main.cpp' => "int main() {}\n",
  'tests/a_test.cpp' => "// BAD\n",
  'build/x' => '',
);
chmod 0755, "$tree/clang-tidy";

sub write_file {
  my ($path, $text) = @_;
  open(my $file, '>:raw', "$tree/$path") or die "can't write $path: $!\n";
  print $file $text;
  close $file;
}
sub commands {
  my ($flag) = @_;
  write_file('build/compile_commands.json', encode_json([map { {directory => "$tree/build", file => "$tree/$_",
    command => "c++ $flag -c $tree/$_"} } qw(src/base/A.cpp src/base/C.cpp src/block/B.cpp app/main.cpp tests/a_test.cpp)]));
}
commands('-O1');

# Status, findings, and the files that were checked anew.
sub checked {
  unlink "$tree/calls";
  my ($text, $status) = run_script('check-tidy.pl', '-j', 2, '--tidy', "$tree/clang-tidy", "$tree/build", $tree);
  my @calls;
  if (open(my $file, '<', "$tree/calls")) { @calls = map { s{^.*?/(src|app)/}{$1/}r =~ s/\n//r } <$file> }
  return {status => $status, found => [grep { !/^tidy: / } split /\n/, $text], calls => [sort @calls]};
}
my @all = qw(app/main.cpp src/base/A.cpp src/base/C.cpp src/block/B.cpp);

is_deeply(checked(), {status => 0, found => [], calls => [@all]}, 'clean sources pass; tests are left out');
is_deeply(checked(), {status => 0, found => [], calls => []}, 'and are not checked again');

write_file('src/block/B.h', "#include \"base/A.h\"\n// more\n");
is_deeply(checked(), {status => 0, found => [], calls => ['src/block/B.cpp']}, 'a changed header: what includes it');
write_file('src/base/A.h', "#pragma once\n// more\n");
is_deeply(checked(), {status => 0, found => [], calls => [qw(src/base/A.cpp src/base/C.cpp src/block/B.cpp)]}, 'through other headers too');
commands('-O2');
is_deeply(checked(), {status => 0, found => [], calls => [@all]}, 'other commands: everything');
write_file('.clang-tidy', "Checks: bugprone-bad\n# more\n");
is_deeply(checked(), {status => 0, found => [], calls => [@all]}, 'other checks: everything');
write_file('version', "version 2\n");
is_deeply(checked(), {status => 0, found => [], calls => [@all]}, 'another clang-tidy: everything');

{
  local $ENV{ORVO_TIDY_CACHE} = "$tree/shared";
  is_deeply(checked(), {status => 0, found => [], calls => [@all]}, 'another cache: everything');
  is_deeply(checked(), {status => 0, found => [], calls => []}, 'which is kept as well');
}

my $bad = 'src/base/A.h:2:1: warning: bad [bugprone-bad]';
write_file('src/base/A.h', "#pragma once\n// BAD\n");
is_deeply(checked(), {status => 1, found => [$bad], calls => [qw(src/base/A.cpp src/base/C.cpp src/block/B.cpp)]},
          'a finding fails, and is listed once');
is_deeply(checked(), {status => 1, found => [$bad], calls => []}, 'and again as long as it is there');
write_file('src/base/A.h', "#pragma once\n");
is(checked()->{status}, 0, 'and passes when it is mended');

write_file("src/base/$_.cpp", "int a;  // SAME\n") for qw(A C);
is_deeply(checked(), {status => 0, found => [], calls => [sort map { ($_, $_) } qw(src/base/A.cpp src/base/C.cpp)]},
          'what can not be compiled joined is checked one by one');
write_file('src/base/C.cpp', "int a;  // SAME BAD\n");
is_deeply(checked()->{found}, ['src/base/C.cpp:1:1: warning: bad [bugprone-bad]'], 'and found fault with');
write_file("src/base/$_.cpp", "int a;\n") for qw(A C);
is(checked()->{status}, 0, 'joined again, they pass');

write_file('app/main.cpp', "int main() {}  // CRASH\n");
for my $attempt ('a crash is no pass', 'and is tried again') {
  is_deeply(checked(), {status => 1, found => ['app/main.cpp:1: clang-tidy came to no end here or in what is checked with it'], calls => ['app/main.cpp']}, $attempt);
}
write_file('app/main.cpp', "int main() {}  // HIDDEN\n");
is(checked()->{status}, 1, 'nor is a failure without a word');
write_file('app/main.cpp', "int main() {}\n");
is(checked()->{status}, 0, 'the good source passes again');

write_file('build/compile_commands.json', '[]');
is(checked()->{status}, 1, 'no sources do not pass');

done_testing();
