#!/usr/bin/env perl
# Holds the build to it that no source below run/ can include the object of a run: each one is compiled with such an
# include added, and must fail for that the file is not found. Says which does not, and ends with 1 then.
#   scripts/check-sight.pl BUILD FOLDER [TREE]
# BUILD FOLDER is one with compile_commands.json.
use strict;
use warnings;
use Cwd qw(abs_path);
use FindBin;
use JSON::PP;
use Text::ParseWords qw(shellwords);
use lib $FindBin::Bin;
use OrvoSources qw(repository slurp);

my $build = shift @ARGV or die "usage: $0 BUILD FOLDER [TREE]\n";
my $source = abs_path(repository($ARGV[0])) . '/src';
my $object = 'run/BundleAdjustment.h';
my $units = decode_json(slurp("$build/compile_commands.json"));

# The compiler of a unit and what it is told about includes and macros; the language is C++ for device code as well.
sub call_of {
  my ($unit) = @_;
  my @words = $unit->{arguments} ? @{$unit->{arguments}} : shellwords($unit->{command});
  shift @words if $words[0] =~ m{(?:^|/)(?:ccache|sccache)$};
  my @call = $words[0] =~ m{(?:^|/)nvcc$} ? ('c++') : (shift @words);
  my $index = 0;
  while ($index < @words) {
    my $word = $words[$index++];
    if ($word =~ /^-(?:I|isystem|iquote|idirafter|D)$/) { push @call, $word, $words[$index++] }
    elsif ($word =~ /^-(?:I|isystem|iquote|idirafter|D|std=)./) { push @call, $word }
  }
  return (@call, qw(-x c++));
}

# Exit status and first error of a compiler on a text that stands where the unit does.
sub compile {
  my ($unit, $text, @call) = @_;
  pipe(my $output, my $output_end) or die "no pipe: $!\n";
  pipe(my $input_end, my $input) or die "no pipe: $!\n";
  my $child = fork() // die "can't start a process: $!\n";
  if ($child == 0) {
    $ENV{LC_ALL} = 'C';
    chdir $unit->{directory} or exit 126;
    open(STDIN, '<&', $input_end);
    open(STDOUT, '>', '/dev/null');
    open(STDERR, '>&', $output_end);
    close $_ for $output, $output_end, $input, $input_end;
    exec { $call[0] } @call or exit 127;
  }
  close $_ for $output_end, $input_end;
  print $input $text;
  close $input;
  my $said = do { local $/; <$output> } // '';
  waitpid $child, 0;
  my ($error) = $said =~ /^(.*error: .*)$/m;
  return ($? >> 8, $error // $said);
}

my (@wrong, %rooms);
my $roof_sees = 0;
$SIG{PIPE} = 'IGNORE';
my $object_text = "#include \"$object\"\n";
for my $unit (sort { $a->{file} cmp $b->{file} } @$units) {
  my $file = abs_path($unit->{file} =~ m{^/} ? $unit->{file} : "$unit->{directory}/$unit->{file}") // next;
  next if $file !~ m{^\Q$source\E/(.*)/[^/]*$};
  my $folder = $1;
  my @call = call_of($unit);
  # Preprocessing is enough to find a file. The folder of the source is searched first, as for an include in it.
  my ($status, $error) = compile($unit, $object_text, @call, '-iquote', "$source/$folder", qw(-E -));
  if ($folder =~ m{^run(?:/|$)}) {
    $roof_sees = 1 if $status == 0;
    next;
  }
  ++$rooms{$folder};
  (my $name = $file) =~ s{^\Q$source\E/}{src/};
  if ($status == 0) { push @wrong, "$name:1: can include \"$object\"" }
  elsif ($error !~ m{\Q$object\E.*(?:No such file|file not found)}) { push @wrong, "$name:1: fails otherwise: $error" }
}
# A file that nobody finds would prove nothing.
push @wrong, "src/run: no source there can include \"$object\"" if !$roof_sees;
push @wrong, 'src: no sources below run/' if !%rooms;

my $count = 0;
$count += $_ for values %rooms;
print "$_\n" for @wrong;
printf "sight: %d sources in %d folders, %d wrong\n", $count, scalar keys %rooms, scalar @wrong;
exit(@wrong ? 1 : 0);
