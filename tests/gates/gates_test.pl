#!/usr/bin/env perl
# gates.sh in a made up tree: what each gate counts, and what it does where tools are missing.
use strict;
use warnings;
use File::Copy qw(copy);
use FindBin;
use lib $FindBin::Bin;
use MadeUpTree qw(tree scripts_folder);
use Test::More;

my $tree = tree(
  'src/layers.txt' => "base:\nrun: *\n",
  'src/base/A.h' => "#pragma once\nint A(int a, int b);\n",
  'app/a.cpp' => "int a;\n", 'tests/a_test.cpp' => "int a;\n", 'bench/a.cpp' => "int a;\n",
  'scripts/x' => '', 'bin/x' => '',
);
copy(scripts_folder() . "/$_", "$tree/scripts/$_") or die for qw(gates.sh check-layers.pl check-lengths.pl OrvoSources.pm);
copy(scripts_folder() . '/../.clang-format', "$tree/.clang-format") or die;
chmod 0755, "$tree/scripts/gates.sh";

sub write_file {
  my ($path, $text) = @_;
  open(my $file, '>:raw', "$tree/$path") or die "can't write $path: $!\n";
  print $file $text;
  close $file;
}
sub gates {
  open(my $output, '-|', 'sh', '-c', 'exec "$@" 2>&1', 'sh', "$tree/scripts/gates.sh", @_) or die;
  my $text = do { local $/; <$output> };
  close $output;
  return ($text, $? >> 8);
}

my ($text, $status) = gates('layers', 'lengths');
is($status, 0, 'a good tree passes') or diag $text;
like($text, qr/^2 passed, 0 failed, 0 skipped$/m, 'and both gates count');

write_file('src/base/B.h', "#include \"run/C.h\"\n" . "\n" x 399);
($text, $status) = gates('layers', 'lengths');
is($status, 1, 'violations fail');
like($text, qr{^src/base/B\.h:1: "run/C\.h" is no file of src/$}m, 'and are shown');
like($text, qr/^0 passed, 2 failed, 0 skipped$/m, 'and both gates count as failed');
unlink "$tree/src/base/B.h";

SKIP: {
  my ($program) = grep { (`$_ --version 2>/dev/null` // '') =~ /version 14\./ } qw(clang-format-14 clang-format);
  skip 'there is no clang-format 14', 8 if !defined $program;
  ($text, $status) = gates('format');
  is($status, 0, 'formatted as .clang-format has it') or diag $text;
  like($text, qr/^1 passed, 0 failed, 0 skipped$/m, 'counts as passed');
  for my $path (qw(src/base/A.h app/a.cpp tests/a_test.cpp bench/a.cpp src/a.cu src/a.cuh)) {
    my $before = -f "$tree/$path" ? do { open(my $file, '<', "$tree/$path"); local $/; <$file> } : undef;
    write_file($path, ($before // '') . "int  b;\n");
    ($text, $status) = gates('format');
    is($status, 1, "one space too many in $path fails");
    defined $before ? write_file($path, $before) : unlink "$tree/$path";
  }
}

# Stand-ins of another version, found first, are not asked.
for my $name (qw(clang-format clang-tidy clang-format-14 clang-tidy-14)) {
  write_file("bin/$name", "#!/bin/sh\necho 'clang version 13.0.1'\n");
  chmod 0755, "$tree/bin/$name";
}
{
  local $ENV{PATH} = "$tree/bin:$ENV{PATH}";
  ($text, $status) = gates('format', 'tidy');
}
is($status, 0, 'without tools of our version nothing fails');
like($text, qr/^format: left out: there is no clang-format 14\ntidy: left out: there is no clang-tidy 14\n/m, 'but is left out');
like($text, qr/^0 passed, 0 failed, 2 skipped$/m, 'and counted so');

($text, $status) = gates('layer');
is($status, 2, 'an unknown gate is refused');

done_testing();
