#!/usr/bin/env perl
# Runs clang-tidy, with .clang-tidy, over the sources of src/ and app/. Lists what it finds, and ends with 1 then.
# Most of its time goes into the headers of the system, so the sources of a folder are checked joined, a dozen at a time;
# those that can't be compiled joined are checked one by one. A dozen is left out as long as its texts, those of our
# headers below them, its commands, .clang-tidy and clang-tidy are those of a run before; the findings of then are listed
# again. (Comments count, for they may silence a check.)
#   scripts/check-tidy.pl [-j JOBS] [--tidy CLANG-TIDY] BUILD FOLDER [TREE]
# BUILD FOLDER is one with compile_commands.json, best of clang++. The findings are kept in the folder that
# ORVO_TIDY_CACHE names, which several trees may share, or else in its folder tidy-cache.
use strict;
use warnings;
use Cwd qw(abs_path);
use Digest::SHA qw(sha256_hex);
use File::Basename qw(dirname);
use File::Path qw(make_path);
use File::Temp qw(tempdir);
use FindBin;
use Getopt::Long;
use JSON::PP;
use POSIX ();
use Text::ParseWords qw(shellwords);
use lib $FindBin::Bin;
use OrvoSources qw(repository slurp includes_of);

my ($jobs, $tidy) = (1, 'clang-tidy');
GetOptions('j=i' => \$jobs, 'tidy=s' => \$tidy) && @ARGV or die "usage: $0 [-j JOBS] [--tidy CLANG-TIDY] BUILD FOLDER [TREE]\n";
my $build = abs_path(shift @ARGV) // die "no such build folder\n";
my $root = abs_path(repository($ARGV[0]));
my $cache = $ENV{ORVO_TIDY_CACHE} // "$build/tidy-cache";
make_path($cache);
my $days_kept = 30;
my $group_size = 12;
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

# ---- Groups of sources that are checked joined
# What a compiler is told by a command but for the files.
sub flags_of {
  my ($unit) = @_;
  my @words = $unit->{arguments} ? @{$unit->{arguments}} : shellwords($unit->{command});
  shift @words if $words[0] =~ m{(?:^|/)(?:ccache|sccache)$};
  shift @words;
  my @flags;
  while (defined(my $word = shift @words)) {
    if ($word =~ /^-(?:o|MF|MT|MQ)$/) { shift @words }
    elsif ($word !~ /^-(?:c|MD|MMD)$/ && $word ne $unit->{file}) { push @flags, $word }
  }
  return @flags;
}

my (%of, %seen_file);
for my $unit (sort { $a->{file} cmp $b->{file} } @{decode_json(slurp("$build/compile_commands.json"))}) {
  my $file = abs_path($unit->{file} =~ m{^/} ? $unit->{file} : "$unit->{directory}/$unit->{file}") // next;
  next if $file !~ m{^\Q$root\E/((?:src|app)/.*\.cpp)$} || $seen_file{$1}++;
  my $path = $1;
  my @flags = flags_of($unit);
  push @{$of{join "\0", dirname($path), $unit->{directory}, @flags}}, {path => $path, flags => \@flags, at => $unit->{directory}};
}
my @groups;
for my $alike (map { $of{$_} } sort keys %of) {
  while (my @units = splice @$alike, 0, $group_size) {
    my $digest = sha256_hex(join "\0", map { digest_of($_->{path}, join ' ', @{$_->{flags}}) } @units);
    push @groups, {units => \@units, kept_in => "$cache/$digest"};
  }
}

# ---- Runs
my $work = tempdir(CLEANUP => 1);

# What clang-tidy says on a file that is compiled as `unit` is; undef where it came to no end.
sub said_on {
  my ($file, $unit) = @_;
  my $pid = open(my $output, '-|') // return undef;
  if ($pid == 0) {
    open(STDERR, '>&', \*STDOUT);
    chdir $unit->{at} or POSIX::_exit(126);
    exec $tidy, '--quiet', "--config-file=$root/.clang-tidy", '--checks=-bugprone-suspicious-include', $file, '--',
      @{$unit->{flags}} or POSIX::_exit(127);
  }
  my $said = do { local $/; <$output> } // '';
  close $output;
  return $? != 0 && $said !~ /(?:warning|error): / ? undef : $said;
}

# All that is said on a group; undef where a part of it came to no end.
sub said_on_group {
  my ($index) = @_;
  my @units = @{$groups[$index]{units}};
  if (@units > 1) {
    my $joined = "$work/joined_$index.cpp";
    open(my $file, '>:raw', $joined) or return undef;
    print $file map { "#include \"$root/$_->{path}\"\n" } @units;
    close $file or return undef;
    my $said = said_on($joined, $units[0]);
    return $said if defined $said && $said !~ /\berror: /;
  }
  my @said = map { said_on("$root/$_->{path}", $_) } @units;
  return (grep { !defined } @said) ? undef : join '', @said;
}

sub check {
  my ($index) = @_;
  my $said = said_on_group($index);
  return 1 if !defined $said;
  my $new = "$groups[$index]{kept_in}.$$";
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
  return rename($new, $groups[$index]{kept_in}) ? 0 : 1;
}

my @due = grep { !-f $groups[$_]{kept_in} } 0 .. $#groups;
my %running;
for my $index (@due) {
  if (keys %running >= $jobs) { delete $running{wait()} }
  my $child = fork() // die "can't start a process: $!\n";
  # Without the end of the script, which clears up for its parent.
  POSIX::_exit(check($index)) if $child == 0;
  $running{$child} = 1;
}
1 while wait() != -1;

# ---- Findings, once for each place
my (%seen, @wrong);
for my $group (@groups) {
  if (!-f $group->{kept_in}) {
    push @wrong, "$group->{units}[0]{path}:1: clang-tidy came to no end here or in what is checked with it";
    next;
  }
  for my $line (split /\n/, slurp($group->{kept_in})) { push @wrong, $line if !$seen{$line}++ }
}
push @wrong, 'no sources' if !@groups;

# What no source has needed for long goes.
utime undef, undef, grep { -f } map { $_->{kept_in} } @groups;
unlink grep { -M $_ > $days_kept } glob("$cache/*");

my ($count, $anew) = (0, 0);
$count += @{$_->{units}} for @groups;
$anew += @{$groups[$_]{units}} for @due;
print "$_\n" for @wrong;
printf "tidy: %d files, %d of them checked anew, %d wrong\n", $count, $anew, scalar @wrong;
exit(@wrong ? 1 : 0);
