#!/usr/bin/env perl
# Holds the example block to the program: its settings are what `orvo settings` writes, its control and check points are
# no tie points (and those of the full block, where that is at hand), the demo's run has the figures that its page
# tells, and the pictures of README.md are those of its report.
#   scripts/check-seneca.pl PROGRAM FOLDER     orvo, and a place for the files
use strict;
use warnings;
use Cwd qw(abs_path);
use JSON::PP;

my ($program, $folder) = map { abs_path($_) // $_ } @ARGV;
die "usage: $0 PROGRAM FOLDER\n" if !defined $folder;
mkdir $folder;
my $root = $0 =~ m{^(.*)/scripts/[^/]*$} ? $1 : '.';
chdir $root or die "no folder $root\n";
my $example = 'examples/seneca';
my @wrong;

sub slurp {
  my ($path) = @_;
  open(my $file, '<', $path) or die "can't read $path: $!\n";
  local $/;
  return scalar <$file>;
}

# The command of the page that begins so, its parts without the continuations of lines.
my $page = slurp("$example/README.md");
sub command {
  my ($begin) = @_;
  my ($text) = $page =~ /^```sh\n(build\/release\/bin\/orvo $begin .*?)```/ms or die "the page has no: orvo $begin\n";
  $text =~ s/\\\n//g;
  my (undef, @parts) = split ' ', $text;
  return @parts;
}

sub run {
  my ($out, @parts) = @_;
  for (1 .. $#parts) { $parts[$_] = $out if $parts[$_ - 1] eq '--out' }
  system($program, @parts) == 0 or die "failed: orvo @parts\n";
}

# ---- Settings: the same words, and numbers that agree to eight digits
my $number = qr/(?<![\w.])-?\d+(?:\.\d+)?(?:e-?\d+)?(?![\w.])/;
sub same_text {
  my ($one, $other) = @_;
  my @numbers = map { [/$number/g] } $one, $other;
  s/$number/#/g for $one, $other;
  # A number may have another length, and a line another break.
  s/\s+/ /g for $one, $other;
  return 0 if $one ne $other;
  for (0 .. $#{$numbers[0]}) {
    my ($p, $q) = ($numbers[0][$_], $numbers[1][$_]);
    return 0 if abs($p - $q) > 1e-8 * abs($q);
  }
  return 1;
}
run("$folder/AdjPara.xml", command('settings'));
push @wrong, "$example/AdjPara_control.xml is not what the command of its page writes"
  if !same_text(slurp("$folder/AdjPara.xml"), slurp("$example/AdjPara_control.xml"));

# ---- Control and check points
my %tie = map { $_ => 1 } slurp("$example/seneca_start.prj") =~ /^(T\d+) /mg;
die "the example has no tie points\n" if !%tie;
my $control = slurp("$example/seneca_control.txt");
my @points = $control =~ /^[CK]\d+ \S+ \S+ \S+ ([12]) (T\d+) of the full block, not surveyed$/mg;
my %points = reverse @points;
my @kinds = map { my $type = $_; scalar grep { $_ eq $type } values %points } 1, 2;
push @wrong, "$kinds[0] control and $kinds[1] check points" if "@kinds" ne '8 32';
push @wrong, "$_ is a tie point of the example" for grep { $tie{$_} } sort keys %points;

my $full = '../shared/data/seneca/seneca_full.ovc';
if (-e $full) {
  open(my $pipe, '-|', "$example/make-control.pl", $program, $full, "$folder/full") or die "make-control.pl: $!\n";
  my @made = <$pipe>;
  close($pipe) or die "make-control.pl failed\n";
  my @kept = split /^/, $control;
  push @wrong, @made . " lines of control instead of " . @kept if @made != @kept;
  for my $index (0 .. $#made) {
    last if @made != @kept;
    my @pair = ($made[$index], $kept[$index]);
    my @values = map { [/(-?\d+\.\d+)/g] } @pair;
    s/-?\d+\.\d+/#/g for @pair;
    # Rounding may go the other way elsewhere.
    push @wrong, "made anew, seneca_control.txt has: $made[$index]"
      if $pair[0] ne $pair[1] || grep { abs($values[0][$_] - $values[1][$_]) > 0.0015 } 0 .. $#{$values[0]};
  }
}

# ---- The demo's run
my @adjust = command('adjust');
my ($demo) = slurp('demo.sh') =~ /^run=\((.*?)\)$/ms or die "demo.sh has no run\n";
$demo =~ s/"\$programs\/orvo"//;
$demo =~ s/\$example/$example/g;
$demo =~ s/\$out\b/build\/demo/g;
$demo =~ s/"//g;
push @wrong, "demo.sh does not run what the page says" if join(' ', split ' ', $demo) ne "@adjust";
run("$folder/out", @adjust, '--strict', '--quiet');
my $run = decode_json(slurp("$folder/out/summary.json"));
my %figures = (
  'RMSE at the start, listed, pixels' => $run->{iterations}[0]{rmse},
  'RMSE at the end, listed, pixels' => $run->{residuals}{listed}{rmse},
  'RMSE at the end, strict, pixels' => $run->{residuals}{strict_kept}{rmse},
  'RMSE of 8 control points, metres' => $run->{ground}{control}{rmse},
  'RMSE of 32 check points, metres' => $run->{ground}{check}{rmse},
);
for my $name (sort keys %figures) {
  my ($cells) = $page =~ /^\| \Q$name\E \|(.*)\|$/m or die "the page has no line: $name\n";
  my @told = grep { /\d/ } map { s/\s+//gr } split /\|/, $cells;
  my @found = @{$figures{$name}};
  push @wrong, "$name: " . @found . " figures, told are " . @told if @told != @found;
  for (0 .. $#told) {
    my $digits = length($told[$_] =~ s/^.*\.//r);
    push @wrong, "$name: $told[$_] is told, $found[$_] found" if abs($found[$_] - $told[$_]) > 0.6 * 10**-$digits;
  }
}
push @wrong, "the verdict is $run->{verdict}{result}" if $run->{verdict}{result} ne 'good';
my $iterations = @{$run->{iterations}};
push @wrong, "$iterations iterations are not told" if $page !~ /converges in $iterations iterations/;

# ---- The pictures
my %pictures = slurp('demo.sh') =~ /"([^"]+)"\s+(?:\\\n\s+)?(docs\/pictures\/[\w-]+\.svg)/g;
die "demo.sh makes no pictures\n" if !%pictures;
for my $title (sort keys %pictures) {
  system('scripts/picture-of-report.pl', '--check', "$folder/out/report.html", $title, $pictures{$title}) == 0
    or push @wrong, "$pictures{$title} is old: run ./demo.sh";
}

print "$_\n" for @wrong;
print "the example is as its page says\n" if !@wrong;
exit(@wrong ? 1 : 0);
