#!/usr/bin/env perl
# Figures of the sources, to be compared between versions of the tree: sizes, the reach of the object's header, includes
# between rooms, repetitions.
#   scripts/house-figures.pl [TREE [LAYERS]]     LAYERS is a tree with src/layers.txt, where TREE has none
use strict;
use warnings;
use FindBin;
use lib $FindBin::Bin;
use OrvoSources qw(repository slurp source_files includes_of plain_text functions_of read_layers room_of may_include);

my $root = repository($ARGV[0]);
my $layers = read_layers($ARGV[1] // $root);
my $object = 'run/BundleAdjustment.h';
my $long_function = 60;
my $stretch = 6;

my @files = source_files($root, 'src');
my %text = map { $_ => slurp("$root/$_") } @files;
my %lines = map { $_ => $text{$_} =~ tr/\n// } @files;

sub show { printf "%-52s %s\n", @_ }
sub median {
  my @sorted = sort { $a <=> $b } @_;
  return @sorted ? $sorted[$#sorted / 2] : 0;
}
sub sizes {
  my ($kind, @those) = @_;
  my ($largest) = sort { $lines{$b} <=> $lines{$a} || $a cmp $b } @those;
  show("$kind: number, lines at the median", sprintf '%d, %d', scalar @those, median(map { $lines{$_} } @those));
  show("$kind: largest", defined $largest ? "$lines{$largest} $largest" : 'none');
}

show('files of src/', scalar @files);
sizes('headers', grep { /\.(?:h|cuh)$/ } @files);
sizes('sources', grep { /\.(?:cpp|cu)$/ } @files);

my @functions = map { my $path = $_; map { +{%$_, path => $path} } functions_of($text{$path}) } @files;
my @long = sort { $b->{lines} <=> $a->{lines} } grep { $_->{lines} > $long_function } @functions;
show('functions, counted by braces; lines at the median', sprintf '%d, %d', scalar @functions, median(map { $_->{lines} } @functions));
show("functions above $long_function lines", scalar @long);
show("  $_->{name}", "$_->{lines} $_->{path}:$_->{line}") for @long;

# ---- Includes
my %known = map { substr($_, 4) => 1 } @files;
my %includes;
my ($up, $cross, %pairs) = (0, 0);
for my $path (@files) {
  my $name = substr($path, 4);
  my $room = room_of($layers, $name) // '?';
  my @names = grep { defined && $known{$_} } map { $_->{name} } includes_of($text{$path});
  $includes{$name} = \@names;
  for (@names) {
    my $other = room_of($layers, $_) // '?';
    next if $other eq $room;
    ++$cross;
    ++$pairs{"$room -> $other"};
    ++$up if !$layers->{$room} || !may_include($layers, $room, $other);
  }
}
# Which files see a header, through whatever others: walks back along the includes.
my %included_by;
for my $name (keys %includes) { push @{$included_by{$_}}, $name for @{$includes{$name}} }
my (%sees, @open);
@open = ($object);
while (defined(my $name = pop @open)) {
  for (@{$included_by{$name} // []}) { push @open, $_ if !$sees{$_}++ }
}
my @units = grep { /\.(?:cpp|cu)$/ } keys %includes;
show("units that see $object, of all units", sprintf '%d of %d', scalar(grep { $sees{$_} } @units), scalar @units);
show("  of these outside of run/", scalar grep { $sees{$_} && !m{^run/} } @units);
show('includes between rooms', $cross);
show('  by pairs of rooms', scalar keys %pairs);
show('includes that the table does not allow (upwards)', $up);

# ---- Data members of the object: declarations at the level of the class that are no functions and no types.
sub members_of {
  my ($text, $class) = @_;
  my $plain = plain_text($text);
  $plain =~ s/^[ \t]*#(?:[^\n\\]|\\.)*//gms;
  $plain =~ /\bclass\s+$class\b[^;{]*(\{(?:[^{}]|(?1))*\})/ or return ();
  my $body = substr $1, 1, -1;
  # What is in braces inside of the class says nothing on its own members.
  1 while $body =~ s/\{[^{}]*\}/\x02/g;
  1 while $body =~ s/\([^()]*\)/\x01/g;
  1 while $body =~ s/<[^<>;]*>//g;
  # A body ends its function without a semicolon, a type has one.
  $body =~ s/\x01(\s*(?:const|noexcept|override))*\s*\x02/\x01;/g;
  my @members;
  for (split /;/, $body) {
    s/\b(?:public|private|protected)\s*:(?!:)//g;
    s/^\s+|\s+$//g;
    next if $_ eq '' || /^(?:using|typedef|friend|static|enum|class|struct)\b|\boperator\b/;
    my $declared = s/=.*?(?=,|$)|\x02//gsr;
    next if $declared =~ /\x01/;
    push @members, map { /(\w+)\s*(?:\[[^\]]*\]\s*)*$/ ? $1 : () } split /,/, $declared;
  }
  return @members;
}
my @members = defined $text{"src/$object"} ? members_of($text{"src/$object"}, 'CBundleAdjustment') : ();
show('data members of CBundleAdjustment', scalar @members);

# ---- Repetitions: lines without comments and spaces; those that say nothing (braces, includes) are left out.
my (%places, %line_at);
for my $path (@files) {
  my @plain = split /\n/, plain_text($text{$path}), -1;
  my @original = split /\n/, $text{$path}, -1;
  my @kept;
  for my $index (0 .. $#plain) {
    # Literals stay what they are, so the line is taken as written where it is no comment.
    next if $plain[$index] =~ /^\s*(?:#\s*(?:include|pragma).*|[{}();,\s]*|\}?\s*namespace\b.*|namespace\b.*)$/;
    (my $line = $original[$index]) =~ s{\s*//.*$}{};
    $line =~ s/\s+//g;
    push @kept, [$line, $index + 1];
  }
  for my $first (0 .. $#kept - $stretch + 1) {
    push @{$places{join "\n", map { $_->[0] } @kept[$first .. $first + $stretch - 1]}}, [$path, $first];
  }
}
# Windows that follow each other in the same pairs of places are one stretch.
my %windows;
for my $found (grep { @$_ > 1 } values %places) {
  for my $i (0 .. $#$found) {
    for my $j ($i + 1 .. $#$found) {
      my ($first, $second) = sort { $a->[0] cmp $b->[0] || $a->[1] <=> $b->[1] } @$found[$i, $j];
      $windows{"$first->[0]\0$second->[0]"}{"$first->[1] $second->[1]"} = 1;
    }
  }
}
my ($stretches, %repeats) = (0);
for my $pair (keys %windows) {
  for (keys %{$windows{$pair}}) {
    my ($first, $second) = split / /;
    next if $windows{$pair}{($first - 1) . ' ' . ($second - 1)};
    ++$stretches;
    ++$repeats{$pair =~ tr/\0/ /r};
  }
}
show("stretches of $stretch lines or more that stand twice", $stretches);
my @worst = sort { $repeats{$b} <=> $repeats{$a} || $a cmp $b } keys %repeats;
show("  $_", $repeats{$_}) for grep { defined } @worst[0 .. 9];
