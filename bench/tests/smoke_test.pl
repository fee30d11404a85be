#!/usr/bin/env perl
# The 100 image block once, the peer beside it, and what their files say.
#   smoke_test.pl ORVO_BENCH ORVO_PEER FOLDER
use strict;
use warnings;
use JSON::PP;
use Test::More;

my ($bench, $peer, $work) = @ARGV;
my ($scripts) = $0 =~ m{^(.*)/tests/[^/]*$};
my $json = "$work/smoke.json";
system('mkdir', '-p', $work);
unlink $json;
my $text = `'$bench' run 100/eopiop --repeats 1 --phases --work '$work' --json '$json' --peer '$peer' --peer-configurations dense-1,iterative-2 2>&1`;
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
for my $phase (qw(start intersect assemble solve update exit)) {
  cmp_ok($run->{phases}{$phase}{count}, '>', 0, "phase $phase");
}
cmp_ok($run->{files}{'OrvoResult.ovt'}{bytes}, '>', 1e6, 'the result file');
is($run->{files}{'Residuals_*_*.res'}{count}, $run->{iterations}, 'a listing for each iteration');
cmp_ok($run->{peak_bytes}, '>', 1e6, 'peak memory');

is(scalar @{$data->{peer_runs}}, 2, 'two configurations of the peer');
for my $other (@{$data->{peer_runs}}) {
  # Its points are those of least squares, so its RMSE is a little smaller.
  cmp_ok($other->{final_rms}, '<=', $run->{final_rms}, "$other->{configuration}: as good a solution");
  cmp_ok($other->{final_rms}, '>', 0.9 * $run->{final_rms}, "$other->{configuration}: of the same problem");
  cmp_ok($other->{to_target}, '<=', $other->{solve}, "$other->{configuration}: reaches the RMSE on its way");
}
like(scalar `perl '$scripts/compare.pl' '$json' '$json'`, qr{^100/eopiop cpu.* 1\.00$}m, 'compared with itself');
like(scalar `perl '$scripts/tables.pl' '$json'`, qr{^\| 100/eopiop \|}m, 'tables');
done_testing();
