#!/usr/bin/env perl
# Runs every command of docs/from.md, in its order, over a made-up block in the files of each program. What comes out is
# held to the block that was made up.
#   scripts/check-from.pl PROGRAM FOLDER     orvo, and an empty place for the files
use strict;
use warnings;
use File::Basename qw(dirname);
use File::Path qw(make_path remove_tree);

my ($program, $folder) = @ARGV;
die "usage: $0 PROGRAM FOLDER\n" if !defined $folder;
my $root = $0 =~ m{^(.*)/scripts/[^/]*$} ? $1 : '.';
$root = "$ENV{PWD}/$root" if $root !~ m{^/};

sub slurp {
  my ($path) = @_;
  open(my $file, '<', $path) or die "can't read $path\n";
  local $/;
  return scalar <$file>;
}

sub spill {
  my ($path, $text) = @_;
  open(my $file, '>', $path) or die "can't write $path\n";
  print $file $text;
  close($file) or die "can't write $path\n";
}

# ---- The block: 3 strips of 5 images from 250 m, tilted by some degrees, with a distortion of 13 pixels.
my ($width, $height, $focal, $K1) = (3000, 2000, 2500, -0.02);
my $noise = 0.3;
my $seed = 1;
sub random {
  $seed = ($seed * 1103515245 + 12345) % 2147483648;
  return $seed / 2147483648 * 2 - 1;
}

sub product {
  my ($a, $b) = @_;
  return [map { my $row = $_; map { my $k = $_; $a->[3 * $row] * $b->[$k] + $a->[3 * $row + 1] * $b->[3 + $k] +
                                          $a->[3 * $row + 2] * $b->[6 + $k] } 0 .. 2 } 0 .. 2];
}

# Rx(omega) Ry(phi) Rz(kappa), degrees.
sub rotation {
  my ($o, $p, $k) = map { $_ * atan2(0, -1) / 180 } @_;
  return product(product([1, 0, 0, 0, cos $o, -sin $o, 0, sin $o, cos $o], [cos $p, 0, sin $p, 0, 1, 0, -sin $p, 0, cos $p]),
                 [cos $k, -sin $k, 0, sin $k, cos $k, 0, 0, 0, 1]);
}

my (@images, @points);
for my $strip (0 .. 2) {
  for my $k (0 .. 4) {
    my @angles = (2 * random(), 2 * random(), ($strip % 2 ? 180 : 0) + 3 * random());
    my $R = rotation(@angles);
    my @S = (80 * ($strip % 2 ? 4 - $k : $k) + random(), 100 * $strip + random(), 300 + 2 * random());
    # World to camera, y down, z ahead: F R' and -F R' S.
    my @Rc = map { my $row = $_; map { ($row ? -1 : 1) * $R->[3 * $_ + $row] } 0 .. 2 } 0 .. 2;
    my @t = map { my $row = $_; -($Rc[3 * $row] * $S[0] + $Rc[3 * $row + 1] * $S[1] + $Rc[3 * $row + 2] * $S[2]) } 0 .. 2;
    push @images, {name => sprintf('IMG_%d%02d.JPG', $strip + 1, $k), angles => \@angles, S => \@S, Rc => \@Rc, t => \@t};
  }
}

# The pixel from the upper left corner, nothing where the image does not see the place.
sub project {
  my ($image, $P) = @_;
  my $Rc = $image->{Rc};
  my @c = map { $Rc->[3 * $_] * $P->[0] + $Rc->[3 * $_ + 1] * $P->[1] + $Rc->[3 * $_ + 2] * $P->[2] + $image->{t}[$_] } 0 .. 2;
  my ($u, $v) = ($c[0] / $c[2], $c[1] / $c[2]);
  my $factor = 1 + $K1 * ($u * $u + $v * $v);
  my ($X, $Y) = ($width / 2 + $focal * $factor * $u + $noise * random(), $height / 2 + $focal * $factor * $v + $noise * random());
  return $X > 5 && $X < $width - 5 && $Y > 5 && $Y < $height - 5 ? [$X, $Y] : undef;
}

sub measured {
  my ($P) = @_;
  return grep { defined $_->[1] } map { [$_, project($images[$_], $P)] } 0 .. $#images;
}

for my $i (0 .. 21) {
  for my $j (0 .. 17) {
    my @P = (-130 + 27 * $i + 5 * random(), -90 + 22 * $j + 5 * random(), 50 + 15 * random());
    my @rays = measured(\@P);
    push @points, {P => \@P, rays => \@rays} if @rays > 1;
  }
}

# ---- The same block in the files of each program.
sub quaternion {
  my ($R) = @_;
  my @squares = (1 + $R->[0] + $R->[4] + $R->[8], 1 + $R->[0] - $R->[4] - $R->[8], 1 - $R->[0] + $R->[4] - $R->[8],
                 1 - $R->[0] - $R->[4] + $R->[8]);
  my ($largest) = sort { $squares[$b] <=> $squares[$a] } 0 .. 3;
  my $d = 2 * sqrt($squares[$largest]);
  my @off = ([$R->[7] - $R->[5], $R->[2] - $R->[6], $R->[3] - $R->[1]],
             [$R->[3] + $R->[1], $R->[2] + $R->[6], $R->[7] + $R->[5]]);
  my @q = (([$d / 4, map { $_ / $d } @{$off[0]}]), [$off[0][0] / $d, $d / 4, $off[1][0] / $d, $off[1][1] / $d],
           [$off[0][1] / $d, $off[1][0] / $d, $d / 4, $off[1][2] / $d],
           [$off[0][2] / $d, $off[1][1] / $d, $off[1][2] / $d, $d / 4]);
  return @{$q[$largest]};
}

sub write_colmap {
  my ($place) = @_;
  make_path($place);
  spill("$place/cameras.txt", "# a camera a line\n1 SIMPLE_RADIAL $width $height $focal @{[$width / 2]} @{[$height / 2]} $K1\n");
  my (@seen, $tracks);
  for my $k (0 .. $#points) {
    my @track;
    for my $ray (@{$points[$k]{rays}}) {
      push @track, ($ray->[0] + 1) . ' ' . scalar(@{$seen[$ray->[0]] || []});
      push @{$seen[$ray->[0]]}, sprintf('%.9f %.9f %d', @{$ray->[1]}, $k + 1);
    }
    $tracks .= ($k + 1) . " @{$points[$k]{P}} 128 128 128 0.3 @track\n";
  }
  my $images = '';
  for my $k (0 .. $#images) {
    my $image = $images[$k];
    $images .= join(' ', $k + 1, map({ sprintf '%.15g', $_ } quaternion($image->{Rc}), @{$image->{t}}), 1, $image->{name}) . "\n" .
      join(' ', @{$seen[$k]}) . "\n";
  }
  spill("$place/images.txt", $images);
  spill("$place/points3D.txt", $tracks);
}

sub write_opensfm {
  my ($place) = @_;
  make_path($place);
  my $tracks = "OPENSFM_TRACKS_VERSION_v1\n";
  my (@shots, @coordinates);
  for my $image (@images) {
    my ($w, @v) = quaternion($image->{Rc});
    my $sine = sqrt($v[0]**2 + $v[1]**2 + $v[2]**2);
    my @axis = map { sprintf '%.15g', $_ / $sine * 2 * atan2($sine, $w) } @v;
    push @shots, sprintf('"%s": {"rotation": [%s], "translation": [%s], "camera": "cam"}', $image->{name}, join(', ', @axis),
                         join(', ', map { sprintf '%.15g', $_ } @{$image->{t}}));
  }
  for my $k (0 .. $#points) {
    push @coordinates, sprintf('"%d": {"coordinates": [%s], "color": [1, 2, 3]}', $k, join(', ', @{$points[$k]{P}}));
    my $feature = 0;
    for my $ray (@{$points[$k]{rays}}) {
      # From pixels with the first centre at 0.5 to the longer side.
      $tracks .= join("\t", $images[$ray->[0]]{name}, $k, $k, sprintf('%.12f', ($ray->[1][0] - $width / 2) / $width),
                      sprintf('%.12f', ($ray->[1][1] - $height / 2) / $width), '0.001', 1, 2, 3) . "\n";
    }
  }
  spill("$place/reconstruction.json",
        '[{"cameras": {"cam": {"projection_type": "perspective", "width": ' . "$width, \"height\": $height, \"focal\": " .
          $focal / $width . ", \"k1\": $K1, \"k2\": 0.0}}, \"shots\": {" . join(', ', @shots) . '}, "points": {' .
          join(', ', @coordinates) . "}}]\n");
  spill("$place/tracks.csv", $tracks);
  spill("$place/gcp_list.txt", '');
}

my @control = ([0, 0, 40], [320, 5, 62], [10, 200, 55], [315, 195, 48], [160, 100, 50], [90, 60, 44], [250, 140, 57]);
sub write_spreadsheets {
  my ($place) = @_;
  my $table = "image,X,Y,Z,omega,phi,kappa\n";
  $table .= join(',', $_->{name}, map { sprintf '%.9f', $_ } @{$_->{S}}, @{$_->{angles}}) . "\n" for @images;
  spill("$place/orientations.csv", $table);
  $table = "name,X,Y,Z,role,image,px,py\n";
  for my $k (0 .. $#control) {
    for my $ray (measured($control[$k])) {
      $table .= join(',', "G$k", @{$control[$k]}, $k < 5 ? 'control' : 'check', $images[$ray->[0]]{name},
                     map { sprintf '%.4f', $_ } @{$ray->[1]}) . "\n";
    }
  }
  spill("$place/control.csv", $table);
}

# ---- The commands of the page: each way in a folder of its own, as every user has one.
sub prepare_colmap { write_colmap("$_[0]/sparse/0") }
sub prepare_opensfm { write_opensfm("$_[0]/project") }
sub prepare_spreadsheet {
  write_spreadsheets($_[0]);
  for my $name ('block.ovc', 'block.ovt', 'block.orvo.json', 'block_AdjPara.xml') {
    spill("$_[0]/$name", slurp("$folder/From COLMAP/$name"));
  }
}

my %prepare = ('From COLMAP' => \&prepare_colmap, 'From OpenSfM and ODM' => \&prepare_opensfm,
               'From a spreadsheet of orientations' => \&prepare_spreadsheet);
remove_tree($folder);
make_path($folder);
my $page = slurp("$root/docs/from.md");
$ENV{PATH} = dirname($program) . ":$ENV{PATH}";
my $count = 0;
while ($page =~ /^## (From [^\n]*)\n(?:(?!^## ).)*?^```sh\n(.*?)^```/msg) {
  my ($way, @commands) = ($1, split /\n/, $2);
  die "$way: " . @commands . " commands, and the page says five\n" if @commands != 5;
  die "nobody knows the files of a way $way\n" if !$prepare{$way};
  make_path("$folder/$way");
  $prepare{$way}->("$folder/$way");
  for my $command (@commands) {
    $command =~ /^orvo / or die "no command of ours: $command\n";
    my $told = `cd '$folder/$way' && $command 2>&1`;
    die "$command: failed\n$told" if $?;
    ++$count;
    print "$command\n";
    while ($told =~ m{(?:measurements in x / y:|residuals of|RMS x) ([0-9.]+)(?:, y| /) ([0-9.]+)}g) {
      die "$command: residuals of $1 and $2 pixels\n$told" if !($1 < 0.3 && $2 < 0.3 && $1 > 0.02);
    }
  }
}
die "$count commands, and the page has three ways of five\n" if $count != 15;

# ---- What came out is the block that was made up.
sub rows_of {
  my ($path) = @_;
  my ($head, @lines) = split /\n/, slurp($path);
  my @names = split /,/, $head;
  return map { my %row; @row{@names} = split /,/, $_, -1; \%row } @lines;
}

my $out = "$folder/From a spreadsheet of orientations/adjusted_tables";
my %image_of = map { $_->{name} => $_ } @images;
my @orientations = rows_of("$out/orientations.csv");
die @orientations . ' images instead of ' . @images . "\n" if @orientations != @images;
for my $row (@orientations) {
  my $image = $image_of{"$row->{image}.JPG"} or die "no image has the name $row->{image}\n";
  my @off = map { $row->{(qw(X Y Z))[$_]} - $image->{S}[$_] } 0 .. 2;
  push @off, map { my $d = $row->{(qw(omega phi kappa))[$_]} - $image->{angles}[$_]; 5 * ($d - 360 * int($d / 360 + ($d <=> 0) / 2)) } 0 .. 2;
  for my $off (@off) { die "$row->{image} is off: @off\n" if !(abs $off < 0.5) }
}
my @checks = grep { $_->{role} eq 'check' } rows_of("$out/control.csv");
die @checks . " check points instead of 2\n" if @checks != 2;
for my $row (@checks) {
  for my $axis (qw(dX dY dZ)) { die "$row->{point} is off by $row->{$axis} in $axis\n" if !(abs $row->{$axis} < 0.15) }
}
print "$count commands, " . @orientations . " images and 2 check points where they should be\n";
