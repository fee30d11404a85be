#!/usr/bin/env perl
# Holds the includes of src/ to src/layers.txt. Says what is wrong with its place, and ends with 1 then: an include of a
# room that the table does not allow, one written otherwise than from src/ on (relative, or in angle brackets), one that
# leads to no file, and folders without a row.
#   scripts/check-layers.pl [TREE]
use strict;
use warnings;
use FindBin;
use lib $FindBin::Bin;
use OrvoSources qw(repository slurp source_files includes_of read_layers room_of may_include);

my $root = repository($ARGV[0]);
my $layers = read_layers($root);
my @files = source_files($root, 'src');
my %known = map { substr($_, 4) => 1 } @files;
my @wrong;
my $count = 0;

# What is wrong with one include of a file of `room`; nothing where it is as it should be.
sub fault_of {
  my ($path, $room, $include) = @_;
  my $name = $include->{name};
  return 'an include that only the preprocessor can read' if !defined $name;
  if ($include->{angle}) {
    return if !$known{$name} && !-e "$root/src/$name" && $name !~ m{(?:^|/)\.\.?/};
    return "<$name> is one of our own files: use quotes";
  }
  return "\"$name\" is not written from src/ on" if $name =~ m{(?:^|/)\.\.?(?:/|$)} || $name =~ m{^/|//};
  return "\"$name\" is no file of src/" if !$known{$name};
  my $other = room_of($layers, $name);
  return "\"$name\" stands in no room of src/layers.txt" if !defined $other;
  return "$room may not include $other: \"$name\"" if !may_include($layers, $room, $other);
  return ();
}

# Every file below a folder, as a path from the top of the tree.
sub all_files {
  my ($top, $folder) = @_;
  my @found;
  opendir(my $dir, "$top/$folder") or return;
  for my $name (sort grep { !/^\.\.?$/ } readdir $dir) {
    push @found, -d "$top/$folder/$name" ? all_files($top, "$folder/$name") : "$folder/$name";
  }
  return @found;
}

for my $path (@files) {
  my $room = room_of($layers, substr($path, 4));
  if (!defined $room) {
    push @wrong, "$path:1: stands in no room of src/layers.txt";
    next;
  }
  for my $include (includes_of(slurp("$root/$path"))) {
    ++$count;
    push @wrong, "$path:$include->{line}: $_" for fault_of($path, $room, $include);
  }
}
push @wrong, "src: no sources" if !@files;
# What has another ending is read by none of the checks.
my %known_kind = map { $_ => 1 } @files;
for my $path (all_files($root, 'src')) {
  next if $known_kind{$path} || $path =~ m{(?:^|/)(?:CMakeLists|layers)\.txt$};
  push @wrong, "$path:1: an unknown kind of file";
}

print "$_\n" for @wrong;
printf "layers: %d files, %d includes, %d wrong\n", scalar @files, $count, scalar @wrong;
exit(@wrong ? 1 : 0);
