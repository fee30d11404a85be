#!/usr/bin/env perl
# compare.pl and tables.pl on made up measurements.
use strict;
use warnings;
use File::Temp qw(tempdir);
use JSON::PP;
use Test::More;

my ($bench) = $0 =~ m{^(.*)/tests/[^/]*$};
my $folder = tempdir(CLEANUP => 1);

sub file {
  my ($name, $data) = @_;
  open(my $file, '>', "$folder/$name") or die;
  print $file JSON::PP->new->encode($data);
  close $file;
  return "$folder/$name";
}
sub run {
  my $text = `perl @_ 2>&1`;
  return ($text, $? >> 8);
}
sub measurement {
  my ($case, $program, $cpu, $peak) = @_;
  return {case => $case, program => $program, cpu => $cpu, wall => 2 * $cpu, peak_bytes => $peak, instructions => undef,
          iterations => 5, iteration_cpu => $cpu / 10, iteration_wall => $cpu / 10, listing_wall => 0, final_rms => 0.5,
          phases => {solve => {wall => 1, cpu => $cpu / 2, count => 5}}, files => {}};
}
sub runs {
  my ($programs, @measurements) = @_;
  return {programs => [map { {label => $_, path => '/'} } @$programs], runs => [@measurements], peer_runs => [],
          machine => {processor => 'made up', processors => 2}};
}

my $old = file('old.json', runs(['old'], measurement('1/a', 'old', 2, 8e6), measurement('1/b', 'old', 1, 8e6)));
my $new = file('new.json', runs(['new'], measurement('1/a', 'new', 1, 8e6), measurement('1/c', 'new', 1, 8e6)));
my ($text, $status) = run("$bench/compare.pl", $old, $new);
like($text, qr{^1/a cpu\s+2000\.000 ms\s+1000\.000 ms\s+2\.00$}m, 'half the time is a gain of 2');
like($text, qr{^1/a peak\s+8\.000 MB\s+8\.000 MB\s+1\.00$}m, 'the same memory is a gain of 1');
unlike($text, qr{solve}, 'no phases unless asked for');
like($text, qr{^1/b cpu: only in the old one$}m, 'what is missing is told');
like($text, qr{^1/c cpu: only in the new one$}m, 'what is added is told');
is($status, 0, 'no limit, no failure');

($text, $status) = run("$bench/compare.pl", '--phases', $old, $new);
like($text, qr{^1/a  solve\s+1000\.000 ms\s+500\.000 ms\s+2\.00$}m, 'phases when asked for');

($text, $status) = run("$bench/compare.pl", '--worse', '1.5', $new, $old);
is($status, 1, 'twice the time is worse than 1.5 times');
like($text, qr{^1/a cpu.*worse$}m, 'and marked');
is((run("$bench/compare.pl", '--worse', '2.5', $new, $old))[1], 0, 'but not worse than 2.5 times');

my $both = file('both.json', runs(['here', 'there'], measurement('1/a', 'here', 1, 1e6), measurement('1/a', 'there', 3, 1e6)));
($text, $status) = run("$bench/compare.pl", $both);
like($text, qr{^1/a cpu\s+3000\.000 ms\s+1000\.000 ms\s+3\.00$}m, 'the first program of two is the new one');
isnt((run("$bench/compare.pl", $old))[1], 0, 'one program alone has nothing to be compared with');
isnt((run("$bench/compare.pl", '/nowhere.json', $old))[1], 0, 'a missing file fails');

sub kernels {
  my ($name, @times) = @_;
  return {benchmarks => [(map { {name => $name, run_type => 'iteration', cpu_time => $_, real_time => $_, time_unit => 'us'} } @times),
                         {name => "${name}_mean", run_type => 'aggregate', cpu_time => 1, real_time => 1, time_unit => 'us'}]};
}
my $slow = file('slow.json', kernels('Multiply', 500, 400, 450));
my $fast = file('fast.json', kernels('Multiply', 100));
($text, $status) = run("$bench/compare.pl", $slow, $fast);
like($text, qr{^Multiply\s+0\.400 ms\s+0\.100 ms\s+4\.00$}m, 'the best of the repetitions of a kernel counts');
unlike($text, qr{mean}, 'their mean does not');

my $peers = runs(['new'], measurement('1/a', 'new', 1, 8e6));
$peers->{peer_runs} = [{case => '1/a', configuration => 'sparse-1', whole => 10, whole_cpu => 12, solve => 8, solve_cpu => 9,
                        to_target => undef, steps => 4, final_rms => 0.4, peak_bytes => 80e6}];
($text, $status) = run("$bench/tables.pl", file('peers.json', $peers), $fast);
is($status, 0, 'tables are written');
like($text, qr{^\| 1/a \| sparse-1 \| 2\.00 s \| 8\.00 s \(4\.0, 9\.0\) \| never \| 10\.00 s \(5\.0, 12\.0\) \| 2\.00 s \| 4 \| 80 MB \(10\.0\) \|}m,
     'the peer in multiples of the run');
like($text, qr{^\| Multiply \| 100\.00 us \|}m, 'kernels');
done_testing();
