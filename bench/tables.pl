#!/usr/bin/env perl
# Writes tables in Markdown of what bench/run.sh measured, for documentation.
#   bench/tables.pl FILE.json...
# Takes files of orvo_bench run (with and without the peer) and of the kernel benchmarks, in any order. Of two programs
# in one file the first one counts.
use strict;
use warnings;
use JSON::PP;

die "usage: $0 FILE.json...\n" if !@ARGV;

my (%runs, @cases, @peers, @kernels, $machine, $label);
my @files;
for my $path (@ARGV) {
  open(my $file, '<', $path) or die "can't read $path: $!\n";
  local $/;
  my $data = eval { JSON::PP->new->decode(scalar <$file>) };
  die "$path is no JSON: $@" if !defined $data;
  push @files, $data;
}
# The file with the most cases says in which order they stand.
for my $data (sort { @{$b->{runs} // []} <=> @{$a->{runs} // []} } @files) {
  push @kernels, grep { ($_->{run_type} // '') eq 'iteration' } @{$data->{benchmarks} // []};
  next if !$data->{programs};
  $machine //= $data->{machine};
  my $first = $data->{programs}[0]{label};
  $label //= $first;
  my %here;
  for my $run (grep { $_->{program} eq $first } @{$data->{runs}}) {
    push @cases, $run->{case} if !exists $runs{$run->{case}};
    $here{$run->{case}} = $run;
    # Where a case stands in several files, the shortest counts.
    my $known = $runs{$run->{case}};
    $runs{$run->{case}} = $run if !$known || $run->{wall} < $known->{wall};
  }
  # A peer is set against the run beside it.
  push @peers, [$_, $here{$_->{case}}] for grep { $here{$_->{case}} } @{$data->{peer_runs} // []};
}

sub row { print '| ', join(' | ', @_), " |\n" }
sub head {
  my @names = @_;
  row(@names);
  row('---', map { '---:' } @names[1 .. $#names]);
}
sub ms {
  my ($seconds) = @_;
  my $value = 1e3 * $seconds;
  return $value >= 1000 ? sprintf('%.2f s', $seconds) : sprintf($value >= 100 ? '%.0f ms' : $value >= 10 ? '%.1f ms' : '%.2f ms', $value);
}
sub mb { return sprintf('%.0f MB', $_[0] / 1e6) }

print "Measured with $label on $machine->{processor}, $machine->{processors} processors.\n\n" if $machine;

my %goal = (
  '100/eopiop' => ['4 / 6 ms', '0.1 s', ''],
  '1000/eopiop' => ['45 / 70 ms', '0.7 s', ''],
  '10000/eopiop' => ['0.6 / 1.0 s', '9 s', '1500 MB'],
);
my @with_goal = grep { $goal{$_} } @cases;
if (@with_goal) {
  print "### Goals\n\n";
  head('block', 'LM iteration without / with listing', 'by processor time', 'goal', 'whole run', 'processor time', 'goal',
    'peak memory', 'goal', 'iterations');
  for my $case (@with_goal) {
    my $run = $runs{$case};
    my $pair = sub {
      my ($kind) = @_;
      return ms($run->{"iteration_$kind"} - $run->{"listing_$kind"}) . ' / ' . ms($run->{"iteration_$kind"});
    };
    row($case, $pair->('wall'), $pair->('cpu'), $goal{$case}[0], ms($run->{wall}), ms($run->{cpu}), $goal{$case}[1],
      mb($run->{peak_bytes}), $goal{$case}[2] || '-', $run->{iterations});
  }
  print "\n";
}

if (@cases) {
  print "### Whole runs\n\n";
  head('case', 'wall', 'processor time', 'iteration', 'listing in it', 'iterations', 'peak memory', 'RMSE, px');
  for my $case (@cases) {
    my $run = $runs{$case};
    row($case, ms($run->{wall}), ms($run->{cpu}), ms($run->{iteration_wall}), ms($run->{listing_wall}),
      $run->{iterations}, mb($run->{peak_bytes}), defined $run->{final_rms} ? sprintf('%.4f', $run->{final_rms}) : '-');
  }
  print "\n";

  my @shown = grep { m{/(?:eopiop|text|dense|full|small)$} } @cases;
  if (@shown) {
    # In the order of a run: that of the case with the most phases may be any, so the names are sorted by hand.
    my @order = ('start', 'pre-read', 'read images', 'thin', 'read points', 'read pos', 'prepare', 'normalise', 'pattern',
      'intersect', 'assemble', 'merge', 'listing', 'pos equations', 'damp', 'solve', 'update', 'renew equations', 'restore',
      'write results', 'write report', 'write ovt', 'exit');
    print "### Where the time goes, milliseconds of wall / processor time in a whole run\n\n";
    head('phase', @shown);
    for my $phase (@order) {
      next if !grep { $runs{$_}{phases}{$phase} } @shown;
      row($phase, map { my $p = $runs{$_}{phases}{$phase}; $p ? sprintf('%.2f / %.2f', 1e3 * $p->{wall}, 1e3 * $p->{cpu}) : '-' } @shown);
    }
    print "\n### Output files\n\n";
    my %files = map { $_ => 1 } map { keys %{$runs{$_}{files}} } @shown;
    head('file, MB at MB/s while open', @shown);
    for my $file (grep { $_ ne 'log.txt' } sort keys %files) {
      row($file, map {
        my $f = $runs{$_}{files}{$file};
        !$f ? '-' : $f->{wall} > 0 ? sprintf('%.2f at %.0f', $f->{bytes} / 1e6, $f->{bytes} / 1e6 / $f->{wall})
                                   : sprintf('%.2f', $f->{bytes} / 1e6)
      } @shown);
    }
    print "\n";
  }
}

if (@peers) {
  print "### Against the peer\n\n";
  print "Wall times of the peer, and in brackets how many times as long as Orvo's whole run from files to files they are,\n",
    "by wall time and by processor time.\n\n";
  head('case', 'peer', 'Orvo, whole', 'peer, its solution', 'peer, to the RMSE of Orvo', 'peer, whole', 'its step', 'steps',
    'peak memory', 'RMSE, Orvo / peer');
  for my $pair (@peers) {
    my ($peer, $run) = @$pair;
    my $times = sub {
      my ($name) = @_;
      return 'never' if !defined $peer->{$name};
      return ms($peer->{$name}) . sprintf(' (%.1f, %.1f)', $peer->{$name} / $run->{wall}, $peer->{"${name}_cpu"} / $run->{cpu});
    };
    row($peer->{case}, $peer->{configuration}, ms($run->{wall}), $times->('solve'), $times->('to_target'), $times->('whole'),
      $peer->{steps} ? ms($peer->{solve} / $peer->{steps}) : '-', $peer->{steps},
      mb($peer->{peak_bytes}) . sprintf(' (%.1f)', $peer->{peak_bytes} / $run->{peak_bytes}),
      sprintf('%.4f / %.4f', $run->{final_rms} // 0, $peer->{final_rms}));
  }
  print "\n";
}

if (@kernels) {
  my %nanoseconds = (ns => 1, us => 1e3, ms => 1e6, s => 1e9);
  my (%best, @names);
  for my $kernel (@kernels) {
    my $time = $kernel->{real_time} * $nanoseconds{$kernel->{time_unit}} / 1e9;
    push @names, $kernel->{name} if !exists $best{$kernel->{name}};
    $best{$kernel->{name}} = [$time, $kernel] if !$best{$kernel->{name}} || $time < $best{$kernel->{name}}[0];
  }
  print "### Kernels\n\n";
  head('kernel', 'time', 'million items/s', 'GB/s');
  for my $name (@names) {
    my ($time, $kernel) = @{$best{$name}};
    my ($items, $bytes) = @{$kernel}{qw(items_per_second bytes_per_second)};
    row($name, $time >= 1e-3 ? ms($time) : sprintf('%.2f us', 1e6 * $time), $items ? sprintf('%.1f', $items / 1e6) : '-',
      $bytes ? sprintf('%.2f', $bytes / 1e9) : '-');
  }
  print "\n";
}
