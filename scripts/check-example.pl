#!/usr/bin/env perl
# Runs the small example of docs/formats.md as it is printed there: its check point must come out where it is.
#   scripts/check-example.pl PROGRAM FOLDER     orvo, and an empty place for the files
use strict;
use warnings;

my ($program, $folder) = @ARGV;
die "usage: $0 PROGRAM FOLDER\n" if !defined $folder;
my $root = $0 =~ m{^(.*)/scripts/[^/]*$} ? $1 : '.';

sub slurp {
  my ($path) = @_;
  open(my $file, '<', $path) or die "can't read $path\n";
  local $/;
  return scalar <$file>;
}

sub spill {
  my ($path, $text) = @_;
  open(my $file, '>', $path) or die "can't write $path\n";
  print $file $text;
  close($file) or die "can't write $path\n";
}

my $page = slurp("$root/docs/formats.md");
mkdir $folder;
for my $name ('small.prj', 'small_gcp.txt') {
  $page =~ /`\Q$name\E`, with [^\n]*:\n\n```\n(.*?)```/s or die "docs/formats.md shows no $name\n";
  spill("$folder/$name", $1);
}
my $settings = slurp("$root/examples/seneca/AdjPara.xml");
$settings =~ s{(<Direct_Intersection>)false}{$1true} or die "AdjPara.xml has no Direct_Intersection\n";
spill("$folder/direct.xml", $settings);

unlink glob("$folder/OrvoBundleResult/*");
system($program, 'adjust', "$folder/small.prj", '--gcp', "$folder/small_gcp.txt", '--settings', "$folder/direct.xml") == 0
  or die "the run failed\n";
my @lines = split /\n/, slurp("$folder/OrvoBundleResult/ObjectPointError.xyz");
die scalar(@lines) . " points instead of 1\n" if @lines != 1;
my @fields = split ' ', $lines[0];
die "not 7 fields: $lines[0]\n" if @fields != 7;
# Measurements are given to a thousandth of a pixel, 0.2 mm on the ground.
for my $difference (@fields[3 .. 5]) {
  die "off by $difference\n" if !(abs($difference) < 0.003);
}
print "the check point is where it should be: @fields[3 .. 5]\n";
