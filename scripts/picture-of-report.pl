#!/usr/bin/env perl
# Takes a picture out of a report.html, as an SVG file that stands by itself: light, with the style that it uses.
#   scripts/picture-of-report.pl REPORT TITLE PICTURE            makes PICTURE, or leaves it where it shows the same
#   scripts/picture-of-report.pl --check REPORT TITLE PICTURE    ends with 1 where PICTURE shows something else
# Last digits differ from processor to processor, so a picture is the same when all is but for numbers that differ by
# less than half a pixel.
use strict;
use warnings;

my $check = @ARGV && $ARGV[0] eq '--check' ? shift @ARGV : undef;
die "usage: $0 [--check] REPORT TITLE PICTURE\n" if @ARGV != 3;
my ($report, $title, $picture) = @ARGV;

sub slurp {
  my ($path) = @_;
  open(my $file, '<', $path) or die "can't read $path: $!\n";
  local $/;
  return scalar <$file>;
}

# The rules of the page that the classes of the picture use, but those for dark and print.
sub style_for {
  my ($sheet, $svg) = @_;
  my %used = map { $_ => 1 } map { split ' ' } $svg =~ /class="([^"]*)"/g;
  $sheet =~ s/\@media[^{]*\{(?:[^{}]|\{[^{}]*\})*\}//g;
  my ($rules, %colours) = ('');
  while ($sheet =~ /([^{}]+)\{([^{}]*)\}/g) {
    my ($selectors, $body) = ($1, $2);
    $selectors =~ s/^\s+|\s+$//g;
    if ($selectors eq ':root') {
      $colours{$1} = $2 while $body =~ /(--[\w-]+):([^;\s]+)/g;
      next;
    }
    my @taken = grep { /^(?:svg )?(?:text)?((?:\.[\w-]+)*)$/ && !grep { !$used{$_} } ($1 =~ /[\w-]+/g) }
      split /\s*,\s*/, $selectors;
    s/^svg // for @taken;
    $rules .= join(',', @taken) . "{$body}\n" if @taken;
  }
  # A colour of the picture may be that of another name: --c is set by classes.
  my %needed = map { $_ => 1 } $rules =~ /var\((--[\w-]+)\)/g;
  my $root = join ';', map { "$_:$colours{$_}" } grep { defined $colours{$_} } sort keys %needed;
  return ":root{$root}\n$rules";
}

sub picture_of {
  my ($page) = @_;
  my ($sheet) = $page =~ m{<style>(.*?)</style>}s or die "$report has no style\n";
  my ($svg) = $page =~ m{(<svg [^>]*><title>\Q$title\E</title>.*?</svg>)}s or die "$report has no picture \"$title\"\n";
  my ($width, $height) = $svg =~ /^<svg [^>]*viewBox="0 0 ([\d.]+) ([\d.]+)"/ or die "the picture has no size\n";
  my $style = style_for($sheet, $svg);
  $svg =~ s/^<svg [^>]*>//;
  # XML knows no other names of characters.
  die "the picture has an entity of HTML: $1\n" if $svg =~ /(&(?!(?:amp|lt|gt|quot|apos|#\d+|#x[0-9a-fA-F]+);)[^;]{0,20};?)/;
  return qq{<svg xmlns="http://www.w3.org/2000/svg" role="img" viewBox="0 0 $width $height" width="$width" }
    . qq{height="$height" font-family="Helvetica, Arial, sans-serif">\n<style>\n$style</style>\n}
    . qq{<rect width="100%" height="100%" fill="#fff"/>\n$svg\n};
}

# What differs between two pictures, or nothing.
sub difference {
  my ($one, $other) = @_;
  my $number = qr/(?<![#\d.])-?\d+(?:\.\d+)?/;
  my @lines = ([split /\n/, $one], [split /\n/, $other]);
  return sprintf '%d lines instead of %d', map { scalar @$_ } @lines[0, 1] if @{$lines[0]} != @{$lines[1]};
  for my $index (0 .. $#{$lines[0]}) {
    my @pair = ($lines[0][$index], $lines[1][$index]);
    my @numbers = map { [/$number/g] } @pair;
    s/$number/#/g for @pair;
    my $place = 'line ' . ($index + 1);
    return "$place: $lines[0][$index]" if $pair[0] ne $pair[1];
    for (0 .. $#{$numbers[0]}) {
      return "$place: $numbers[0][$_] instead of $numbers[1][$_]" if abs($numbers[0][$_] - $numbers[1][$_]) >= 0.5;
    }
  }
  return undef;
}

my $new = picture_of(slurp($report));
my $difference = -e $picture ? difference($new, slurp($picture)) : "there is no $picture";
if ($check) {
  die "$picture is not the picture of $report: $difference\n" if defined $difference;
  exit 0;
}
exit 0 if !defined $difference;
open(my $file, '>', "$picture.new") or die "can't write $picture.new: $!\n";
print $file $new or die "can't write $picture.new: $!\n";
close($file) or die "can't write $picture.new: $!\n";
rename("$picture.new", $picture) or die "can't write $picture: $!\n";
