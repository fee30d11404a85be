#!/usr/bin/env perl
# Holds the documentation to the sources: every relative link leads somewhere, and docs/messages.md has exactly the
# messages that the sources log. Says what is wrong, and ends with 1 then.
#   scripts/check-docs.pl [SOURCE FOLDER...]     src and app where none is named
use strict;
use warnings;

my $root = $0 =~ m{^(.*)/scripts/[^/]*$} ? $1 : '.';
my @wrong;

sub slurp {
  my ($path) = @_;
  open(my $file, '<', $path) or die "can't read $path\n";
  local $/;
  return scalar <$file>;
}

sub files_below {
  my ($folder, $pattern) = @_;
  my @found;
  for my $path (sort glob("$folder/*")) {
    if (-d $path) { push @found, files_below($path, $pattern) }
    elsif ($path =~ $pattern) { push @found, $path }
  }
  return @found;
}

# Headings become anchors the way code hosts do it.
sub anchors {
  my ($text) = @_;
  my %anchors;
  $text =~ s/^```.*?^```//msg;
  while ($text =~ /^#+ +(.*?) *$/mg) {
    my $anchor = lc $1;
    $anchor =~ s/[^a-z0-9 _-]//g;
    $anchor =~ s/ /-/g;
    $anchors{$anchor} = 1;
  }
  return \%anchors;
}

# ---- Links
my @pages = grep { -f } ("$root/README.md", "$root/CHANGELOG.md", files_below("$root/docs", qr/\.md$/),
                         files_below("$root/examples", qr/\.md$/));
for my $page (@pages) {
  my $text = slurp($page);
  (my $folder = $page) =~ s{/[^/]*$}{};
  $text =~ s/^```.*?^```//msg;
  while ($text =~ /\]\(([^)\s]+)\)/g) {
    my ($path, $anchor) = split /#/, $1, 2;
    next if $path =~ /^[a-z]+:/;
    my $target = $path eq '' ? $page : "$folder/$path";
    if (!-e $target) { push @wrong, "$page: no such file: $path" }
    elsif (defined $anchor && !anchors(slurp($target))->{$anchor}) { push @wrong, "$page: no such heading: $1" }
  }
}

# ---- Messages
my $literal = qr/"(?:[^"\\]|\\.)*"/;
sub join_literals { return join '', map { substr($_, 1, -1) } ($_[0] =~ /$literal/g) }
sub plain {
  my ($text) = @_;
  $text =~ s/^(?:\\n)+//;
  $text =~ s/(?:\\n)+$//;
  $text =~ s/\\(["\\])/$1/g;
  return $text;
}

my (%literals, %logged);
my @folders = @ARGV ? @ARGV : ("$root/src", "$root/app");
for my $path (map { files_below($_, qr/\.(cpp|h)$/) } @folders) {
  my $text = slurp($path);
  $text =~ s{^\s*//.*$}{}mg;
  # However wide a number is in the sources, users see a number.
  $text =~ s/"\s*PRI[du]\d+\s*"/d/g;
  $text =~ s/"\s*PRI[du]\d+/d"/g;
  $text =~ s/%(?:l+|z|j)[du]/%d/g;
  while ($text =~ /((?:$literal\s*)+)/g) { $literals{plain(join_literals($1))} = 1 }
  while ($text =~ /(?:LogPrintf|[Ll]og\.Print|PrintToConsole|fprintf)\s*\(\s*(?:console\s*,\s*)?((?:$literal\s*)+)/g) {
    my $message = plain(join_literals($1));
    $logged{$message} = $path if $message =~ /[A-Za-z]{2}|%d.*%d|%lf.*%lf/;
  }
}

my %documented;
for my $line (split /\n/, slurp("$root/docs/messages.md")) {
  $documented{$1} = 1 if $line =~ /^\| `([^`]+)`/;
}
for my $message (sort keys %documented) {
  push @wrong, "docs/messages.md: no source has: $message" if !$literals{$message};
}
for my $message (sort keys %logged) {
  push @wrong, "$logged{$message}: not in docs/messages.md: $message" if !$documented{$message};
}

print "$_\n" for @wrong;
printf "%d pages, %d messages, %d wrong\n", scalar @pages, scalar keys %documented, scalar @wrong;
exit(@wrong ? 1 : 0);
