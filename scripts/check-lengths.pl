#!/usr/bin/env perl
# Holds files and functions to their lengths. Says what is too long with its place, and ends with 1 then.
#   scripts/check-lengths.pl [TREE]
use strict;
use warnings;
use FindBin;
use lib $FindBin::Bin;
use OrvoSources qw(repository slurp source_files functions_of);

my $header_end = 400;    # headers have fewer lines than this
my $source_end = 500;
my $function_end = 80;   # from the first line of the declaration to the closing brace; bodies of tests as well
my %most = ('src/run/BundleAdjustment.h' => 200);  # and these at most as many

my $root = repository($ARGV[0]);
my @files = source_files($root, qw(src app tests bench));
my @wrong;
my $function_count = 0;

for my $path (@files) {
  my $text = slurp("$root/$path");
  my $lines = ($text =~ tr/\n//) + ($text =~ /[^\n]\z/ ? 1 : 0);
  my $end = defined $most{$path} ? $most{$path} + 1 : $path =~ /\.(?:h|cuh)$/ ? $header_end : $source_end;
  push @wrong, sprintf '%s:%d: %d lines, at most %d are allowed', $path, $end, $lines, $end - 1 if $lines >= $end;
  my @functions = eval { functions_of($text) };
  if ($@) {
    chomp(my $reason = $@);
    push @wrong, "$path:1: can't be measured: $reason";
  }
  $function_count += @functions;
  for (grep { $_->{lines} >= $function_end } @functions) {
    push @wrong, sprintf '%s:%d: %s has %d lines, at most %d are allowed', $path, $_->{line}, $_->{name}, $_->{lines},
      $function_end - 1;
  }
}
push @wrong, 'no sources' if !@files;

print "$_\n" for @wrong;
printf "lengths: %d files, %d functions, %d wrong\n", scalar @files, $function_count, scalar @wrong;
exit(@wrong ? 1 : 0);
