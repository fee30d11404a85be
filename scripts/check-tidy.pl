#!/usr/bin/env perl
# Runs clang-tidy, with .clang-tidy, over the sources of src/ and app/. Lists what it finds, and ends with 1 then. A source
# is left out as long as its text, that of our headers below it, its command, .clang-tidy and clang-tidy are those of a
# run before; the findings of then are listed again. (Comments count, for they may silence a check.)
#   scripts/check-tidy.pl [-j JOBS] [--tidy CLANG-TIDY] BUILD FOLDER [TREE]
# BUILD FOLDER is one with compile_commands.json, best of clang++. The findings are kept in the folder that
# ORVO_TIDY_CACHE names, which several trees may share, or else in its folder tidy-cache.
use strict;
use warnings;
use Cwd qw(abs_path);
use Digest::SHA qw(sha256_hex);
use File::Basename qw(dirname);
use File::Path qw(make_path);
use FindBin;
use Getopt::Long;
use JSON::PP;
use lib $FindBin::Bin;
use OrvoSources qw(repository slurp includes_of);

my ($jobs, $tidy) = (1, 'clang-tidy');
GetOptions('j=i' => \$jobs, 'tidy=s' => \$tidy) && @ARGV or die "usage: $0 [-j JOBS] [--tidy CLANG-TIDY] BUILD FOLDER [TREE]\n";
my $build = abs_path(shift @ARGV) // die "no such build folder\n";
my $root = abs_path(repository($ARGV[0]));
my $cache = $ENV{ORVO_TIDY_CACHE} // "$build/tidy-cache";
make_path($cache);
my $days_kept = 30;
my $version = `"$tidy" --version` or die "can't run $tidy\n";
my $config = slurp("$root/.clang-tidy");

# ---- Digests
my (%text_of, %includes);
sub text_of { return $text_of{$_[0]} //= slurp("$root/$_[0]") }

# Our files that a file includes itself.
sub includes {
  my ($path) = @_;
  return $includes{$path} //= do {
    my %found;
    for my $include (grep { defined $_->{name} } includes_of(text_of($path))) {
      my ($file) = grep { -f "$root/$_" } map { "$_/$include->{name}" } 'src', 'app', dirname($path);
      $found{$file} = 1 if defined $file;
    }
    [sort keys %found];
  };
}
sub digest_of {
  my ($path, $command) = @_;
  my (%seen, @open);
  @open = ($path);
  while (defined(my $file = pop @open)) {
    push @open, @{includes($file)} if !$seen{$file}++;
  }
  # Where the tree stands is of no matter.
  $command =~ s{\Q$build\E}{BUILD}g;
  $command =~ s{\Q$root\E}{ROOT}g;
  return sha256_hex(join "\0", $version, $config, $command, map { ($_, text_of($_)) } sort keys %seen);
}

# ---- Runs
my %command_of;
for my $unit (@{decode_json(slurp("$build/compile_commands.json"))}) {
  my $file = abs_path($unit->{file} =~ m{^/} ? $unit->{file} : "$unit->{directory}/$unit->{file}") // next;
  $command_of{$1} //= $unit->{command} // join ' ', @{$unit->{arguments}} if $file =~ m{^\Q$root\E/((?:src|app)/.*\.cpp)$};
}
my @units = sort keys %command_of;
my %kept_in = map { $_ => "$cache/" . digest_of($_, $command_of{$_}) } @units;
my @due = grep { !-f $kept_in{$_} } @units;

sub check {
  my ($path) = @_;
  open(my $output, '-|', 'sh', '-c', 'exec "$@" 2>&1', 'sh', $tidy, '--quiet', '-p', $build, "$root/$path") or return 1;
  my $said = do { local $/; <$output> } // '';
  close $output;
  # A run that came to no end found nothing out.
  return 1 if $? != 0 && $said !~ /(?:warning|error): /;
  my $new = "$kept_in{$path}.$$";
  open(my $file, '>:raw', $new) or return 1;
  for my $line (grep { m{^/.*:\d+:\d+: (?:warning|error): |^error: } } split /^/m, $said) {
    if ($line =~ m{^(/.*?)(:\d+:\d+: .*)}s) {
      my ($place, $rest) = ($1, $2);
      # Headers are found by links; what counts is where they stand.
      $place = abs_path($place) // $place;
      $place =~ s{^\Q$root\E/}{};
      $line = "$place$rest";
    }
    print $file $line;
  }
  close $file or return 1;
  return rename($new, $kept_in{$path}) ? 0 : 1;
}

my %running;
for my $path (@due) {
  if (keys %running >= $jobs) { delete $running{wait()} }
  my $child = fork() // die "can't start a process: $!\n";
  exit check($path) if $child == 0;
  $running{$child} = 1;
}
1 while wait() != -1;

# ---- Findings, once for each place
my (%seen, @wrong);
for my $path (@units) {
  if (!-f $kept_in{$path}) {
    push @wrong, "$path:1: clang-tidy came to no end";
    next;
  }
  for my $line (split /\n/, slurp($kept_in{$path})) {
    push @wrong, $line if !$seen{$line}++;
  }
}
push @wrong, 'no sources' if !@units;

# What no source has needed for long goes.
utime undef, undef, grep { -f } values %kept_in;
unlink grep { -M $_ > $days_kept } glob("$cache/*");

print "$_\n" for @wrong;
printf "tidy: %d files, %d of them checked anew, %d wrong\n", scalar @units, scalar @due, scalar @wrong;
exit(@wrong ? 1 : 0);
