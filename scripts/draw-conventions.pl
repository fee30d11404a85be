#!/usr/bin/env perl
# Draws the pictures of docs/conventions.md into docs/pictures/: image frames, camera axes, angles.
#   scripts/draw-conventions.pl
use strict;
use warnings;

my $root = $0 =~ m{^(.*)/scripts/[^/]*$} ? $1 : '.';
my $pi = atan2(0, -1);
my %colour = (x => '#b3261e', y => '#2e7d32', z => '#1f5f99', ink => '#24292f', faint => '#9aa7b4', image => '#cfe2f3');
my @parts;

sub put { push @parts, join('', @_) }
sub number { return sprintf('%.1f', $_[0]) + 0 }

sub text_at {
  my ($x, $y, $text, %how) = @_;
  my $fill = $how{fill} || $colour{ink};
  my $anchor = $how{anchor} || 'start';
  my $weight = $how{bold} ? ' font-weight="bold"' : '';
  my $size = $how{size} ? " font-size=\"$how{size}\"" : '';
  $text =~ s/&/&amp;/g;
  $text =~ s/</&lt;/g;
  put(sprintf('  <text x="%s" y="%s" fill="%s" text-anchor="%s"%s%s>%s</text>', number($x), number($y), $fill, $anchor,
              $weight, $size, $text));
}

sub path_of { return join(' ', map { ($_ ? 'L' : 'M') . join(' ', map { number($_) } @{$_[$_]}) } 0 .. $#_) }

sub line_of {
  my ($colour, $points, %how) = @_;
  my $dash = $how{dash} ? ' stroke-dasharray="5 4"' : '';
  my $width = $how{width} || 1.4;
  my $fill = $how{fill} || 'none';
  my $close = $how{close} ? ' Z' : '';
  put(sprintf('  <path d="%s%s" stroke="%s" stroke-width="%s" fill="%s"%s/>', path_of(@$points), $close, $colour, $width,
              $fill, $dash));
}

# A head at the last point, in the direction from the one before it.
sub arrow {
  my ($colour, $points, %how) = @_;
  line_of($colour, $points, width => 2, %how);
  my ($from, $to) = @{$points}[-2, -1];
  my $angle = atan2($to->[1] - $from->[1], $to->[0] - $from->[0]);
  my @head = map { [$to->[0] + 10 * cos($angle + $_), $to->[1] + 10 * sin($angle + $_)] } ($pi - 0.4, $pi + 0.4);
  line_of($colour, [$head[0], $to, $head[1]], width => 1, fill => $colour, close => 1);
}

sub write_picture {
  my ($name, $width, $height, $label) = @_;
  open(my $file, '>', "$root/docs/pictures/$name.svg") or die "can't write $name.svg\n";
  print $file qq{<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 $width $height" width="$width" height="$height"},
    qq{ role="img" aria-label="$label" font-family="Helvetica, Arial, sans-serif" font-size="14">\n},
    sprintf(qq{  <rect x="1" y="1" width="%d" height="%d" rx="10" fill="#ffffff" stroke="#c9d1d9"/>\n}, $width - 2,
            $height - 2),
    join("\n", @parts), "\n</svg>\n";
  close($file) or die "can't write $name.svg\n";
  @parts = ();
}

# ---- Image frames
sub image_frame {
  my ($left, $top, $title, $origin, $up, $lines) = @_;
  my ($w, $h) = (200, 150);
  text_at($left, $top - 16, $title, bold => 1);
  line_of($colour{z}, [[$left, $top], [$left + $w, $top], [$left + $w, $top + $h], [$left, $top + $h]],
          close => 1, fill => $colour{image}, width => 1.5);
  my ($x, $y) = $origin eq 'centre' ? ($left + $w / 2, $top + $h / 2) : ($left, $top);
  arrow($colour{x}, [[$x, $y], [$x + 70, $y]]);
  text_at($x + 74, $y + ($origin eq 'centre' ? 5 : 18), 'x', fill => $colour{x}, bold => 1);
  my $end = $up ? $y - 55 : $y + 55;
  arrow($colour{y}, [[$x, $y], [$x, $end]]);
  text_at($x + 8, $end + ($up ? 8 : 2), 'y', fill => $colour{y}, bold => 1);
  put(sprintf('  <circle cx="%s" cy="%s" r="4" fill="%s"/>', number($x), number($y), $colour{ink}));
  my $line = $top + $h + 22;
  for my $text (@$lines) {
    text_at($left, $line, $text, size => 12.5);
    $line += 18;
  }
}

image_frame(30, 50, 'Orvo, Bundler, BAL', 'centre', 1, ['pixels; origin in the centre', 'of the image, y up', 'point: (x, y)']);
image_frame(265, 50, 'COLMAP', 'corner', 0,
            ['pixels; origin in the corner of the', 'first pixel, whose centre is (0.5, 0.5)', 'X = w/2 + x, Y = h/2 - y']);
image_frame(500, 50, 'OpenSfM', 'centre', 0,
            ['divided by m, the longer side', 'origin in the centre, y down', 'u = x / m, v = -y / m']);
write_picture('image-frames', 730, 280, 'Image frames of Orvo, Bundler, BAL, COLMAP and OpenSfM');

# ---- Axes in space: east to the right, north into the picture, up.
my ($ox, $oy);
sub at {
  my ($x, $y, $z) = @_;
  return [$ox + $x + 0.5 * $y, $oy - $z - 0.36 * $y];
}
sub origin { ($ox, $oy) = @_ }
sub axis {
  my ($name, $colour, $end, $label) = @_;
  arrow($colour, [at(0, 0, 0), at(@$end)]);
  text_at(@{at(@$label)}, $name, fill => $colour, bold => 1);
}

sub camera {
  my ($left, $title, $down, $lines) = @_;
  origin($left + 125, 175);
  text_at($left, 34, $title, bold => 1);
  my @corners = map { at(@$_) } ([-62, -48, -95], [62, -48, -95], [62, 48, -95], [-62, 48, -95]);
  line_of($colour{faint}, [at(0, 0, 0), $_]) for @corners;
  line_of($colour{z}, \@corners, close => 1, fill => $colour{image}, width => 1.5);
  line_of($colour{faint}, [at(0, 0, 0), at(0, 0, -140)], dash => 1);
  axis('x', $colour{x}, [95, 0, 0], [101, 0, -4]);
  if ($down) {
    axis('y', $colour{y}, [0, -95, 0], [-14, -108, 4]);
    axis('z', $colour{z}, [0, 0, -135], [8, 0, -133]);
  } else {
    axis('y', $colour{y}, [0, 110, 0], [6, 114, 0]);
    axis('z', $colour{z}, [0, 0, 85], [8, 0, 78]);
  }
  put(sprintf('  <circle cx="%s" cy="%s" r="4" fill="%s"/>', (map { number($_) } @{at(0, 0, 0)}), $colour{ink}));
  my $line = 342;
  for my $text (@$lines) {
    text_at($left, $line, $text, size => 12.5);
    $line += 18;
  }
}

camera(30, 'Orvo, Bundler, BAL', 0,
       ['x right, y up in the image, z back;', 'the camera looks along -z', 'ray in space: R (x, y, -f)']);
camera(330, 'COLMAP, OpenSfM', 1,
       ['x right, y down in the image, z ahead;', 'the camera looks along +z', 'Rc = F R\', t = -Rc S, F = diag(1, -1, -1)']);
origin(650, 250);
text_at(610, 34, 'Object frame', bold => 1);
axis('X, east', $colour{x}, [80, 0, 0], [40, 0, -20]);
axis('Y, north', $colour{y}, [0, 110, 0], [8, 116, 0]);
axis('Z, up', $colour{z}, [0, 0, 110], [-20, 0, 118]);
text_at(610, 342, 'right-handed; both cameras', size => 12.5);
text_at(610, 360, 'look straight down, with', size => 12.5);
text_at(610, 378, 'x to the east', size => 12.5);
write_picture('camera-axes', 820, 400, 'Camera axes of Orvo, Bundler, BAL, COLMAP and OpenSfM in the object frame');

# ---- Angles: an arc about an axis, right-handed with +1.
sub turn {
  my ($axis, $distance, $sense, $name, $colour, $label) = @_;
  my %pair = (x => [[0, 1, 0], [0, 0, 1]], y => [[0, 0, 1], [1, 0, 0]], z => [[1, 0, 0], [0, 1, 0]]);
  my %along = (x => [1, 0, 0], y => [0, 1, 0], z => [0, 0, 1]);
  my ($first, $second) = @{$pair{$axis}};
  my @points;
  for my $k (0 .. 28) {
    my $angle = $sense * $k * $pi / 18;
    push @points, at(map { $along{$axis}[$_] * $distance + 24 * (cos($angle) * $first->[$_] + sin($angle) * $second->[$_]) }
                       0 .. 2);
  }
  arrow($colour, \@points);
  text_at(@{at(@$label)}, $name, fill => $colour, bold => 1);
}

sub tripod {
  my ($left, $title, $phi, $lines) = @_;
  origin($left + 75, 225);
  text_at($left, 34, $title, bold => 1);
  axis('X', $colour{x}, [150, 0, 0], [156, 0, -4]);
  axis('Y', $colour{y}, [0, 190, 0], [4, 196, 0]);
  axis('Z', $colour{z}, [0, 0, 150], [-4, 0, 158]);
  turn('x', 95, 1, 'omega', $colour{x}, [78, 0, -48]);
  turn('y', 120, $phi, 'phi', $colour{y}, [38, 120, -12]);
  turn('z', 95, 1, 'kappa', $colour{z}, [-68, 0, 108]);
  my $line = 305;
  for my $text (@$lines) {
    text_at($left, $line, $text, size => 12.5);
    $line += 18;
  }
}

tripod(30, 'Orvo: phi, omega, kappa', -1,
       ['R = Ry(-phi) Rx(omega) Rz(kappa)', 'phi turns against the right-hand rule:', 'positive phi tilts the view to the east']);
tripod(330, 'Standard: omega, phi, kappa', 1,
       ['R = Rx(omega) Ry(phi) Rz(kappa)', 'all turn by the right-hand rule:', 'positive phi tilts the view to the west']);
write_picture('angles', 630, 365, 'Turning senses of phi, omega, kappa and of omega, phi, kappa');

# ---- Yaw, pitch, roll from above.
sub from_above {
  my ($left, $title, $camera, $lines) = @_;
  my ($x, $y) = ($left + 110, 170);
  text_at($left, 34, $title, bold => 1);
  line_of($colour{faint}, [[$x, $y + 90], [$x, $y - 110]], dash => 1);
  text_at($x - 5, $y - 114, 'N', anchor => 'end');
  line_of($colour{faint}, [[$x - 90, $y], [$x + 105, $y]], dash => 1);
  text_at($x + 108, $y + 5, 'E');
  my $turn = $pi / 6;
  my $point = sub {
    my ($right, $ahead) = @_;
    return [$x + $right * cos($turn) + $ahead * sin($turn), $y + $right * sin($turn) - $ahead * cos($turn)];
  };
  if ($camera) {
    line_of($colour{z}, [map { $point->(@$_) } ([-52, -38], [52, -38], [52, 38], [-52, 38])], close => 1,
            fill => $colour{image}, width => 1.5);
    arrow($colour{x}, [$point->(0, 0), $point->(85, 0)]);
    text_at(@{$point->(94, -2)}, 'x', fill => $colour{x}, bold => 1);
    arrow($colour{y}, [$point->(0, 0), $point->(0, 85)]);
    text_at(@{$point->(6, 90)}, 'y', fill => $colour{y}, bold => 1);
  } else {
    line_of($colour{z}, [map { $point->(@$_) } ([0, 70], [8, 40], [60, 5], [60, -6], [8, 8], [6, -40], [22, -52], [22, -60],
                                                 [0, -52], [-22, -60], [-22, -52], [-6, -40], [-8, 8], [-60, -6], [-60, 5],
                                                 [-8, 40])], close => 1, fill => $colour{image}, width => 1.5);
    arrow($colour{x}, [$point->(0, 0), $point->(0, 105)]);
    text_at(@{$point->(8, 104)}, 'ahead', fill => $colour{x}, bold => 1);
  }
  my @arc = map { [$x + 62 * sin($turn * $_ / 10), $y - 62 * cos($turn * $_ / 10)] } 0 .. 10;
  arrow($colour{ink}, \@arc) if !$camera;
  text_at($x + 6, $y - 70, 'yaw', bold => 1) if !$camera;
  if ($camera) {
    my @kappa = map { [$x + 70 * cos($turn * $_ / 10), $y + 70 * sin($turn * $_ / 10)] } 0 .. 10;
    arrow($colour{ink}, \@kappa);
    text_at($x + 78, $y + 24, '-kappa', bold => 1);
  }
  my $line = 300;
  for my $text (@$lines) {
    text_at($left, $line, $text, size => 12.5);
    $line += 18;
  }
}

from_above(30, 'Aircraft, yaw 30 degrees', 0,
           ['yaw clockwise from north, from above;', 'pitch lifts the nose, roll the left wing', '(body: all 0 looks down, flying north)']);
from_above(330, 'The same as kappa', 1,
           ['kappa counter-clockwise from east to x;', 'image y ahead: kappa = -yaw', '(gimbal: pitch -90 looks down)']);
write_picture('yaw', 600, 355, 'Yaw of an aircraft, and the kappa of a camera that looks down from it');
