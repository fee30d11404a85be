#!/usr/bin/env perl
# Makes seneca_control.txt, the control and check points of the example, from the adjustment of the full block:
#   examples/seneca/make-control.pl ORVO FULL.ovc FOLDER > examples/seneca/seneca_control.txt
# ORVO is the program, FULL.ovc the full block with its .ovt beside it, FOLDER the place for the run's files.
#
# The full block is adjusted with the geotags as GPS observations, as AdjPara_gps.xml says. A point may become a control
# or check point when it is no tie point of the example, was seen in many images at wide angles, lost no measurement and
# fits well. Of these, the one that is farthest from all chosen before, in plan, is chosen next. The first 8 are control.
use strict;
use warnings;

use constant {CONTROL => 8, CHECKS => 32, RAYS => 7, ANGLE => 40, RMSE => 0.8, APART => 10};

my ($program, $project, $folder) = @ARGV;
die "usage: $0 ORVO FULL.ovc FOLDER\n" if !defined $folder;
my $example = $0 =~ m{^(.*)/[^/]*$} ? $1 : '.';

sub lines_of {
  my ($path) = @_;
  open(my $file, '<', $path) or die "can't read $path: $!\n";
  chomp(my @lines = <$file>);
  return @lines;
}

# The rows of a table behind its headings. No name of this block has a comma.
sub rows_of {
  my ($path, $headings) = @_;
  my ($first, @rows) = lines_of($path);
  $first =~ s/\r$//;
  die "$path: not the headings $headings, but $first\n" if $first ne $headings;
  return map { s/\r$//; [split /,/] } @rows;
}

system($program, 'adjust', $project, '--pos', "$example/seneca_pos.txt", '--settings', "$example/AdjPara_gps.xml",
       '--out', $folder, '--points', '--residuals-csv', '--strict', '--quiet') == 0
  or die "the full block was not adjusted well\n";

# ---- The example: images by name, names of its tie points, where they are measured
my @lines = lines_of("$example/seneca_start.prj");
my ($images, $cameras, $points) = split ' ', $lines[0];
my (%ordinal, %tie, %measured);
for my $image (0 .. $images - 1) {
  my ($name) = $lines[1 + $cameras + 4 * $image + 1] =~ m{([^/]*)\.[^.]*$} or die "image $image has no name\n";
  $ordinal{$name} = $image;
}
my $at = 1 + $cameras + 4 * $images;
for (1 .. $points) {
  my ($name) = split ' ', $lines[$at];
  my $count = $lines[$at + 1];
  $tie{$name} = 1;
  push @{$measured{$_->[0]}}, [@$_[1, 2]] for map { [split ' ', $_] } @lines[$at + 2 .. $at + 1 + $count];
  $at += 2 + $count;
}

# ---- Candidates
my (@candidates, %rays);
for my $row (rows_of("$folder/points.csv", 'point,X,Y,Z,type,rays,kept_rays,rmse,largest_angle')) {
  my ($name, $x, $y, $z, undef, $count, $kept, $rmse, $angle) = @$row;
  next if $tie{$name} || $x eq '' || $count < RAYS || $kept != $count || $rmse > RMSE || $angle < ANGLE;
  push @candidates, {name => $name, x => $x, y => $y, z => $z};
  $rays{$name} = [];
}
for my $row (rows_of("$folder/residuals.csv", 'image,point,x,y,vx,vy,kept,against')) {
  my ($image, $name, $x, $y) = @$row;
  push @{$rays{$name}}, [$ordinal{$image}, $x, $y] if $rays{$name};
}

# One detail of the ground can bear two names: what a tie point of the example is near to is no check of it.
sub is_apart {
  my ($name) = @_;
  for my $ray (@{$rays{$name}}) {
    my ($image, $x, $y) = @$ray;
    for my $other (@{$measured{$image}}) {
      return 0 if abs($other->[0] - $x) < APART && abs($other->[1] - $y) < APART;
    }
  }
  return 1;
}
@candidates = grep { is_apart($_->{name}) } @candidates;
die scalar(@candidates) . " candidates are too few\n" if @candidates < CONTROL + CHECKS;

# ---- The choice
my ($east, $north) = (0, 0);
$east += $_->{x} / @candidates, $north += $_->{y} / @candidates for @candidates;
# Names decide between two at the same distance.
@candidates = sort { $a->{name} cmp $b->{name} } @candidates;
$_->{distance} = ($_->{x} - $east)**2 + ($_->{y} - $north)**2 for @candidates;
my @chosen;
while (@chosen < CONTROL + CHECKS) {
  my $next = $candidates[0];
  for (@candidates) { $next = $_ if $_->{distance} > $next->{distance} }
  for (@candidates) {
    my $distance = ($_->{x} - $next->{x})**2 + ($_->{y} - $next->{y})**2;
    $_->{distance} = $distance if !@chosen || $distance < $_->{distance};
  }
  push @chosen, $next;
}

# ---- The file
print scalar(@chosen), "\n";
for my $index (0 .. $#chosen) {
  my $point = $chosen[$index];
  my $control = $index < CONTROL;
  # What stands behind the type is for people.
  printf "%s%d %.3f %.3f %.3f %d %s of the full block, not surveyed\n%d\n",
    $control ? ('C', $index + 1) : ('K', $index + 1 - CONTROL), @$point{'x', 'y', 'z'}, $control ? 1 : 2,
    $point->{name}, scalar @{$rays{$point->{name}}};
  printf "%d %.3f %.3f\n", @$_ for sort { $a->[0] <=> $b->[0] } @{$rays{$point->{name}}};
}
