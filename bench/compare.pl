#!/usr/bin/env perl
# Sets two measurements side by side, for each case the old one, the new one and old / new: above 1 is a gain.
#   bench/compare.pl OLD.json NEW.json       files of orvo_bench run, or of a kernel benchmark (--benchmark_out)
#   bench/compare.pl BOTH.json               the two programs of one file of orvo_bench run
#   --phases                                 every phase too
#   --worse FACTOR                           exit status 1 when a case takes more than FACTOR times as much
# Of whole runs the processor time and the peak memory are compared, for others on the machine disturb them least.
use strict;
use warnings;
use Getopt::Long;
use JSON::PP;

my ($phases, $worse);
GetOptions('phases' => \$phases, 'worse=f' => \$worse) && (@ARGV == 1 || @ARGV == 2)
  or die "usage: $0 [--phases] [--worse FACTOR] OLD.json NEW.json | BOTH.json\n";

sub load {
  my ($path) = @_;
  open(my $file, '<', $path) or die "can't read $path: $!\n";
  local $/;
  my $data = eval { JSON::PP->new->decode(scalar <$file>) };
  die "$path is no JSON: $@" if !defined $data;
  return $data;
}

my %nanoseconds = (ns => 1, us => 1e3, ms => 1e6, s => 1e9);

# name -> [figure, value, unit], in the order of the file.
sub figures {
  my ($data, $program) = @_;
  my (%of, @names);
  my $add = sub {
    my ($name, $value, $unit) = @_;
    push @names, $name if !exists $of{$name};
    $of{$name} = [$value, $unit] if !exists $of{$name} || $value < $of{$name}[0];
  };
  # Repetitions of a kernel come one by one, followed by their mean and the like.
  for my $run (grep { ($_->{run_type} // '') eq 'iteration' } @{$data->{benchmarks} // []}) {
    $add->($run->{name}, $run->{cpu_time} * $nanoseconds{$run->{time_unit}} / 1e6, 'ms');
  }
  for my $run (grep { !defined $program || $_->{program} eq $program } @{$data->{runs} // []}) {
    my $case = $run->{case};
    $add->("$case cpu", 1e3 * $run->{cpu}, 'ms');
    $add->("$case wall", 1e3 * $run->{wall}, 'ms');
    $add->("$case iteration cpu", 1e3 * $run->{iteration_cpu}, 'ms');
    $add->("$case peak", $run->{peak_bytes} / 1e6, 'MB');
    $add->("$case instructions", $run->{instructions} / 1e6, 'M') if defined $run->{instructions};
    next if !$phases;
    for my $phase (sort keys %{$run->{phases}}) {
      $add->("$case  $phase", 1e3 * $run->{phases}{$phase}{cpu}, 'ms');
    }
  }
  return (\%of, \@names);
}

my @data = map { load($_) } @ARGV;
my @sides;
if (@data == 1) {
  my @labels = map { $_->{label} } @{$data[0]{programs} // []};
  die "$ARGV[0] has one program only: name a second file\n" if @labels < 2;
  # The second program is the one that the first is measured against.
  @sides = ([$data[0], $labels[1]], [$data[0], $labels[0]]);
} else {
  @sides = map { [$_, $_->{programs} ? $_->{programs}[0]{label} : undef] } @data;
}
my ($old, $old_names) = figures(@{$sides[0]});
my ($new, $new_names) = figures(@{$sides[1]});

my @common = grep { exists $new->{$_} } @$old_names;
die "the two have no case in common\n" if !@common;
printf "%-44s %12s %12s %8s\n", 'figure', $sides[0][1] // 'old', $sides[1][1] // 'new', 'gain';
my $failed = 0;
for my $name (@common) {
  my ($before, $after) = ($old->{$name}[0], $new->{$name}[0]);
  my $gain = $after > 0 ? sprintf('%8.2f', $before / $after) : '       -';
  my $too_much = defined $worse && $name !~ / wall$/ && $before > 0 && $after > $worse * $before;
  $failed = 1 if $too_much;
  printf "%-44s %9.3f %-2s %9.3f %-2s %s%s\n", $name, $before, $old->{$name}[1], $after, $new->{$name}[1], $gain,
    $too_much ? '  worse' : '';
}
for my $name (grep { !exists $new->{$_} } @$old_names) { print "$name: only in the old one\n" }
for my $name (grep { !exists $old->{$_} } @$new_names) { print "$name: only in the new one\n" }
exit $failed;
