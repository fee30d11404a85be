#!/usr/bin/env perl
# The 100 image block once, with the peer beside it where there is one, and what is told of it.
#   smoke_test.pl ORVO_BENCH FOLDER [ORVO_PEER]
use strict;
use warnings;
use JSON::PP;
use Test::More;

my ($bench, $work, $peer) = @ARGV;
my $json = "$work/smoke.json";
system('mkdir', '-p', $work);
unlink $json;
my $beside = $peer ? "--peer '$peer' --peer-configurations dense-1,iterative-2" : '';
my $text = `'$bench' run 100/eopiop --repeats 1 --phases --work '$work' --json '$json' $beside 2>&1`;
is($?, 0, 'the bench runs') or diag($text);
open(my $file, '<', $json) or die "no $json\n";
my $data = do { local $/; JSON::PP->new->decode(scalar <$file>) };
close $file;

my $run = $data->{runs}[0];
is($run->{case}, '100/eopiop', 'the case');
cmp_ok($run->{iterations}, '>=', 4, 'some iterations');
cmp_ok($run->{final_rms}, '>', 0.35, 'the noise of half a pixel stays');
cmp_ok($run->{final_rms}, '<', 0.45, 'and nothing else');
my $sum = 0;
$sum += $_->{wall} for values %{$run->{phases}};
cmp_ok(abs($sum - $run->{wall}), '<', 1e-4 * $run->{wall}, 'the phases of one run fill it');
for my $phase (qw(start intersect assemble listing solve update exit)) {
  cmp_ok($run->{phases}{$phase}{count} // 0, '>', 0, "phase $phase");
}
cmp_ok($run->{files}{'OrvoResult.ovt'}{bytes} // 0, '>', 1e6, 'the result file');
is($run->{files}{'Residuals_*_*.res'}{count}, $run->{iterations}, 'a listing for each iteration');
cmp_ok($run->{peak_bytes}, '>', 1e6, 'peak memory');

is(scalar @{$data->{peer_runs}}, $peer ? 2 : 0, 'configurations of the peer');
for my $other (@{$data->{peer_runs}}) {
  # Its points are those of least squares, so its RMSE is a little smaller.
  cmp_ok($other->{final_rms}, '<=', $run->{final_rms}, "$other->{configuration}: as good a solution");
  cmp_ok($other->{final_rms}, '>', 0.9 * $run->{final_rms}, "$other->{configuration}: of the same problem");
  cmp_ok($other->{to_target}, '<=', $other->{solve}, "$other->{configuration}: reaches the RMSE on its way");
  is($other->{beside_wall}, $run->{wall}, "$other->{configuration}: set beside this run");
}

# What of the exit status and the text of a command with the files named so.
sub told {
  my $text = `'$bench' @_ 2>&1`;
  return ($? >> 8, $text);
}
sub changed {
  my ($name, $change) = @_;
  my $other = JSON::PP->new->decode(JSON::PP->new->encode($data));
  $change->($other->{runs}[0]);
  open(my $file, '>', "$work/$name") or die "no $work/$name\n";
  print $file JSON::PP->new->encode($other);
  close $file;
  return "$work/$name";
}
my ($status, $table) = told('tables', $json);
is($status, 0, 'tables');
like($table, qr{^\| 100/eopiop +\|}m, 'with the case');
my $slow = changed('slow.json', sub { $_[0]{cpu} *= 2 });
my $broken = changed('broken.json', sub { delete $_[0]{cpu} });
for my $case (['with itself', [$json, $json], 0, qr{^100/eopiop cpu.* 1\.00$}m],
              ['worse, but no limit', [$json, $slow], 0, qr{^100/eopiop cpu.* 0\.50$}m],
              ['worse than the limit', ['--worse', 1.5, $json, $slow], 1, qr{^100/eopiop cpu.* 0\.50  worse$}m],
              ['better', ['--worse', 1.5, $slow, $json], 0, qr{^100/eopiop cpu.* 2\.00$}m],
              ['one program', [$json], 2, qr{one program only}],
              ['a broken file', [$json, $broken], 2, qr{runs\[0\]\.cpu: a number is missing}],
              ['no file', [$json, "$work/none.json"], 2, qr{can't read \S+none\.json}]) {
  my ($name, $arguments, $expected, $like) = @$case;
  my ($status, $text) = told('compare', @$arguments);
  is($status, $expected, "compared: $name") or diag($text);
  like($text, $like, "compared: $name, told so");
}
done_testing();
