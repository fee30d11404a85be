#!/usr/bin/env perl
# How far apart two runs of the same block lie, by their summary.json: compare-runs.pl NAME FOLDER FOLDER prints a row of
# a table; --head prints the head of the table. Exit status: 0 as near as single precision lets them come, 1 not, 2 a
# summary can't be read.
use strict;
use warnings;
use JSON::PP;

# Sums in another order, before the first step; then ten iterations that are not always solved to the end.
my %limits = (first => 1e-5, last => 0.01);

if (@ARGV == 1 && $ARGV[0] eq '--head') {
  print "| block | iterations | RMSE before the first step, px | apart | RMSE at the end, px | apart | centres apart, m | "
    . "f apart, px | check points apart, m | |\n|---|---|---|---|---|---|---|---|---|---|\n";
  exit 0;
}
if (@ARGV != 3) {
  print STDERR "compare-runs.pl NAME FOLDER FOLDER, or --head\n";
  exit 2;
}

sub summary {
  my ($folder) = @_;
  my ($path) = grep { -f } map { "$folder/$_/summary.json" } '.', 'unusable';
  my $summary = eval {
    open(my $file, '<:raw', $path // '') or die;
    local $/;
    my $read = decode_json(<$file>);
    @{$read->{iterations}[0]{rmse}} && @{$read->{residuals}{strict_all}{rmse}} ? $read : undef;
  };
  if (!$summary) {
    print STDERR "$folder has no summary of a whole run\n";
    exit 2;
  }
  return $summary;
}

sub largest {
  my $most = 0;
  for (@_) { $most = $_ if $_ > $most || $_ != $_ }
  return $most;
}
# Of two lists, one number after the other; lists of other lengths are as far apart as can be.
sub apart {
  my ($one, $other, $relative) = @_;
  return 9**9**9 if @$one != @$other;
  return largest(map { abs($one->[$_] - $other->[$_]) / ($relative ? abs($other->[$_]) || 1 : 1) } 0 .. $#$one);
}
sub figures {
  my ($summary) = @_;
  my $check = $summary->{ground} ? $summary->{ground}{check} : undef;
  return {
    iterations => scalar @{$summary->{iterations}},
    first => $summary->{iterations}[0]{rmse},
    last => $summary->{residuals}{strict_all}{rmse},
    centres => [map { @{$_->{centre}} } @{$summary->{images} // []}],
    focal => [map { $_->{end}{f} } @{$summary->{cameras} // []}],
    check => $check && $check->{rmse} ? $check->{rmse} : [],
  };
}

my ($name, @folders) = @ARGV;
my ($one, $other) = map { figures(summary($_)) } @folders;
my %relative = map { $_ => apart($one->{$_}, $other->{$_}, 1) } qw(first last);
my $good = !grep { !($relative{$_} <= $limits{$_}) } keys %limits;
printf "| %s | %d, %d | %s | %.1e | %s | %.1e | %.2e | %.2e | %.2e | %s |\n", $name, $one->{iterations},
  $other->{iterations}, (map { (sprintf('%.4f, %.4f', @{$one->{$_}}), $relative{$_}) } qw(first last)),
  (map { apart($one->{$_}, $other->{$_}, 0) } qw(centres focal check)), $good ? 'near' : '**apart**';
exit($good ? 0 : 1);
