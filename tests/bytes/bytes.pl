#!/usr/bin/env perl
# Whole runs, byte for byte: says whether a change to the sources changed any output of the programs.
#   tests/bytes/bytes.pl record  BUILD FILE [PATTERN]      checksums of all that the runs leave, into FILE
#   tests/bytes/bytes.pl check   BUILD FILE [PATTERN]      the same, compared with FILE
#   tests/bytes/bytes.pl compare BUILD BUILD [PATTERN]     two builds side by side; what differs is kept for diff
#   tests/bytes/bytes.pl list
# BUILD is a build folder with bin/orvo and bin/orvo_adjust; PATTERN chooses runs by name. Exit status: 0 the same,
# 1 something differs, 2 it could not be done, 77 FILE was recorded under other conditions than there are here.
#
# tests/bytes/checksums.txt belongs to an optimised build with GCC. Record it anew only when outputs are meant to
# change, with a build of the sources that change them, and say in the same commit which outputs did and why.
# Numbers depend on the instruction set, the compiler with its options, and the libraries. These stand at the head of
# the file, and under others nothing is compared.
#
# Left out, for it depends on the machine or on what the build has been given: CUDA devices, and the version.
use strict;
use warnings;
use Cwd qw(abs_path);
use Digest::SHA qw(sha256_hex);
use File::Basename qw(dirname);
use File::Copy qw(copy);
use File::Find qw(find);
use File::Path qw(make_path remove_tree);
use File::Temp qw(tempdir);
use POSIX ();

my @programs = ('orvo', 'orvo_adjust');
my $scratch;     # where the runs are made
my $processors;  # that the programs may use
my $source = dirname(dirname(dirname(abs_path($0))));

# Generated blocks: name | options of orvo generate. Their files count, too.
my $blocks = <<'END';
plain     | --strips 3 --images-per-strip 5 --measurements 60 --side-overlap 50 --outliers 0.02
small     | --strips 2 --images-per-strip 3 --measurements 30 --side-overlap 60 --seed 2
cameras   | --strips 3 --images-per-strip 4 --cross-strips 1 --cameras 3 --measurements 200 --side-overlap 50 --seed 3
own       | --strips 3 --images-per-strip 5 --cameras 0 --measurements 200 --side-overlap 60 --seed 4
frame     | --strips 3 --images-per-strip 5 --measurements 60 --frame-scale 0.9 --frame-kappa 130 --frame-shift-x 500
geotags   | --strips 3 --images-per-strip 5 --measurements 60 --control 0 --check 4 --frame-scale 1.2 --frame-kappa 30
drifts    | --strips 4 --images-per-strip 5 --measurements 200 --imu-offset 0.05 --imu-drift 0.01 --pos-drift 0.05
strip     | --strips 1 --images-per-strip 6 --measurements 60 --control 3 --check 2 --seed 8
many      | --strips 2 --images-per-strip 5 --measurements 800 --random-order --relief 300 --side-overlap 60 --seed 9
long      | --strips 22 --images-per-strip 22 --forward-overlap 95 --side-overlap 95 --measurements 9 --seed 10
distorted | --strips 2 --images-per-strip 4 --measurements 50 --k1 1e-9 --k2 1e-17 --principal-x 20 --seed 6
END

# Runs: name | block | changes to its files | command, or several with semicolons between them.
# In a command prj, ovc, gcp, pos, xml and ini stand for the files of the block with their options, host and literal for
# the device path on the processor with either form of its kernels, and classic for orvo_adjust with its five paths. A
# command that begins with bare gets what is written. Others get --processors 3, --memory 1G and --out out besides,
# unless they have them already, and adjust gets --log.
# A change is a setting (NAME=VALUE, in both forms of the settings), a short name of one (below), or a change to a line
# of a file: prj:3=TEXT puts another line in its place, with ~ for blanks, prj:3- takes it out, prj:3+ doubles it,
# prj:half cuts the file in the middle. Iterations are 4 unless a change says otherwise.
my $runs = <<'END';
# layouts and forms of the equations
dense                | plain     |                             | adjust prj gcp xml
dense-eop            | plain     | eop                         | adjust prj gcp xml
dense-iop            | plain     | iop                         | adjust prj gcp xml
dense-to-the-end     | plain     | n=20                        | adjust ovc gcp xml
sparse               | plain     | sparse                      | adjust ovc gcp xml
sparse-eop           | plain     | sparse eop                  | adjust prj gcp xml
sparse-iop           | plain     | sparse iop                  | adjust ovc gcp xml
cameras-dense        | cameras   |                             | adjust prj gcp xml
cameras-dense-iop    | cameras   | iop                         | adjust ovc gcp xml
cameras-sparse       | cameras   | sparse n=9                  | adjust ovc gcp xml
cameras-sparse-iop   | cameras   | sparse iop                  | adjust prj gcp xml
own-dense            | own       |                             | adjust prj gcp xml
own-dense-eop        | own       | eop                         | adjust ovc gcp xml
own-dense-iop        | own       | iop                         | adjust prj gcp xml
own-sparse           | own       | sparse                      | adjust ovc gcp xml
own-sparse-iop       | own       | sparse iop                  | adjust ovc gcp xml
own-sparse-eop       | own       | sparse eop                  | adjust prj gcp xml
distorted            | distorted | n=12                        | adjust ovc gcp xml
random-dense         | many      |                             | adjust ovc gcp xml
random-sparse        | many      | sparse                      | adjust prj gcp xml
long-points          | long      | n=2                         | adjust ovc gcp xml
long-points-sparse   | long      | sparse n=2                  | adjust ovc gcp xml
# sections and threads
sections-dense       | many      |                             | adjust ovc gcp xml --memory 100K
sections-sparse      | drifts    | sparse                      | adjust ovc gcp xml --memory 100K
sections-own         | own       | sparse                      | adjust ovc gcp xml --memory 100K
sections-iop         | cameras   | iop                         | adjust ovc gcp xml --memory 40K
sections-many        | many      | sparse                      | adjust ovc gcp xml --memory 100K
sections-pos         | drifts    | sparse gps imu              | adjust ovc gcp pos xml --memory 100K
sections-text        | plain     |                             | adjust prj gcp xml --memory 16K
one-processor        | plain     | sparse                      | adjust prj gcp xml --processors 1
eight-processors     | many      | sparse                      | adjust ovc gcp xml --processors 8
little-memory        | long      | sparse n=2                  | adjust ovc gcp xml --memory 100M --processors 8
far-too-little       | long      | sparse                      | adjust ovc gcp xml --memory 20M --processors 8
too-little-memory    | own       |                             | adjust ovc gcp xml --memory 200
# GPS and IMU records
gps                  | drifts    | gps                         | adjust prj gcp pos xml
gps-imu              | drifts    | gps imu n=9                 | adjust ovc gcp pos xml
imu                  | drifts    | imu                         | adjust prj gcp pos xml
gps-constants        | drifts    | gps no-drift                | adjust prj gcp pos xml
gps-drifts           | drifts    | gps imu no-const            | adjust prj gcp pos xml
gps-neither          | drifts    | gps imu no-const no-drift   | adjust prj gcp pos xml
gps-sparse           | drifts    | gps imu sparse              | adjust ovc gcp pos xml
gps-sparse-eop       | drifts    | gps imu sparse eop          | adjust ovc gcp pos xml
gps-dense-eop        | drifts    | gps eop                     | adjust ovc gcp pos xml
gps-iop              | drifts    | gps imu iop                 | adjust ovc gcp pos xml
gps-own              | own       | gps imu                     | adjust prj gcp pos xml
gps-own-sparse       | own       | gps imu sparse              | adjust prj gcp pos xml
gps-frame            | geotags   | gps                         | adjust prj gcp pos xml
gps-frame-sparse     | geotags   | gps imu sparse              | adjust ovc pos xml
gps-one-strip        | strip     | gps imu                     | adjust prj gcp pos xml
gps-no-strips        | drifts    | gps imu no-strips           | adjust prj gcp pos xml
gps-lines-missing    | drifts    | gps imu pos:2- pos:7-       | adjust prj gcp pos xml
gps-unused           | drifts    |                             | adjust prj gcp pos xml --ignore-unused
gps-not-named        | drifts    | gps                         | adjust prj gcp xml --ignore-unused
gps-not-normal       | drifts    | gps no-norm                 | adjust prj gcp pos xml
# frames, scales, modes, thinning
frame-dense          | frame     |                             | adjust prj gcp xml
frame-sparse         | frame     | sparse                      | adjust ovc gcp xml
three-controls       | strip     |                             | adjust prj gcp xml
no-control           | plain     | Damping_Coefficient=1e-4    | adjust prj xml
not-normal           | plain     | no-norm                     | adjust prj gcp xml
not-normal-sparse    | plain     | no-norm sparse              | adjust ovc gcp xml
scales               | plain     | Image_Coor_Scale=0.002 Object_Coor_Scale=0.5 | adjust prj gcp xml
weights              | plain     | GCP_Accuracy=0.01 GCP_Weight=100 Gross_Point_Threshold=2 n=9 | adjust ovc gcp xml
direct               | plain     | direct                      | adjust prj gcp xml
direct-ovc           | cameras   | direct                      | adjust ovc gcp xml
direct-sections      | plain     | direct                      | adjust ovc gcp xml --memory 16K
absolute             | frame     | absolute                    | adjust prj gcp xml
absolute-ovc         | frame     | absolute                    | adjust ovc gcp xml
absolute-too-few     | geotags   | absolute                    | adjust prj gcp xml
thinned              | many      | thin                        | adjust prj gcp xml
thinned-ovc          | many      | thin sparse                 | adjust ovc gcp xml
thinned-two          | many      | thin cells=2 gps            | adjust ovc gcp pos xml --memory 100K
thinned-zero         | plain     | thin cells=0                | adjust ovc gcp xml
colon-form           | many      |                             | adjust ovc gcp ini
colon-form-sparse    | cameras   | sparse gps                  | adjust prj gcp pos ini
no-settings          | distorted | no-settings                 | bare-adjust prj gcp --log --processors 3 --memory 1G
own-settings         | distorted |                             | bare-adjust prj gcp --log --processors 3 --memory 1G
no-unknowns          | plain     | eop iop                     | adjust prj gcp xml
# the device path on the processor
host                 | plain     |                             | adjust ovc gcp xml host
host-text            | plain     |                             | adjust prj gcp xml host
host-eop             | plain     | eop                         | adjust ovc gcp xml host
host-iop             | plain     | iop                         | adjust ovc gcp xml host
host-cameras         | cameras   |                             | adjust ovc gcp xml host
host-cameras-iop     | cameras   | iop                         | adjust ovc gcp xml host
host-own             | own       |                             | adjust ovc gcp xml host
host-own-iop         | own       | iop                         | adjust ovc gcp xml host
host-pos             | drifts    | gps imu                     | adjust ovc gcp pos xml host
host-pos-frame       | geotags   | gps                         | adjust ovc pos xml host
host-pos-own         | own       | gps imu                     | adjust ovc gcp pos xml host
host-sections        | plain     |                             | adjust ovc gcp xml host --memory 16K
host-gpu-sections    | many      |                             | adjust ovc gcp xml host --device-memory 300K
host-both-sections | many |  | adjust ovc gcp xml host --memory 100K --device-memory 180K
host-too-small       | plain     |                             | adjust ovc gcp xml host --device-memory 200K
host-long            | long      | n=2                         | adjust ovc gcp xml host
host-thinned         | many      | thin                        | adjust ovc gcp xml host
host-direct          | plain     | direct                      | adjust ovc gcp xml host
host-absolute        | frame     | absolute                    | adjust ovc gcp xml host
host-no-residuals    | plain     | Output_Image_Point_RMSE=false | adjust ovc gcp xml host
host-one-processor   | many      |                             | adjust ovc gcp xml host --processors 1
literal              | small     |                             | adjust ovc gcp xml literal
literal-text         | small     |                             | adjust prj gcp xml literal
literal-eop          | plain     | eop n=2                     | adjust ovc gcp xml literal
literal-iop          | cameras   | iop n=2                     | adjust ovc gcp xml literal
literal-cameras      | cameras   | n=2                         | adjust ovc gcp xml literal
literal-own          | own       | n=2                         | adjust ovc gcp xml literal
literal-pos          | drifts    | gps imu n=2                 | adjust ovc gcp pos xml literal
literal-sections     | small     | n=2                         | adjust ovc gcp xml literal --memory 4K
literal-gpu-sections | many      | n=1                         | adjust ovc gcp xml literal --device-memory 300K
literal-long         | long      | eop n=1                     | adjust ovc gcp xml literal
# the classic program
classic              | plain     |                             | classic xml prj gcp
classic-pos          | drifts    | gps imu                     | classic xml ovc gcp pos
classic-sparse       | cameras   | sparse                      | classic xml ovc gcp
classic-own          | own       |                             | classic xml prj gcp
classic-colon        | many      |                             | classic ini ovc gcp
classic-thinned      | many      | thin                        | classic xml prj gcp
classic-direct       | plain     | direct                      | classic xml ovc gcp
classic-absolute     | frame     | absolute                    | classic xml prj gcp
classic-no-gcp       | plain     |                             | classic xml prj
classic-beside       | plain     |                             | bare-classic in/block.prj
classic-usage | plain |  | bare-classic ; bare-classic nothing ; bare-classic in/none.prj
classic-no-ordinal   | plain     | prj:65=99~1.0~2.0           | classic xml prj gcp
classic-image-lost   | cameras   | prj:8=0~0~0                 | classic xml prj gcp
classic-ovc-lost     | cameras   | ovc:8=0~0~0                 | classic xml ovc gcp
classic-camera-lost  | cameras   | ovc:2=1~8000~12000~0~-1~0~0~0~0~0 | classic xml ovc gcp
classic-cut-prj      | plain     | prj:half                      | classic xml prj gcp
classic-cut-ovt      | plain     | ovt:half                    | classic xml ovc gcp
classic-cut-gcp      | plain     | gcp:half                      | classic xml prj gcp
classic-cut-xml      | plain     | xml:half                      | classic xml prj gcp
classic-pos-names    | drifts    | gps pos:3=nobody~1~2~3~4~5~6~1 | classic xml prj gcp pos
classic-no-ovt       | plain     | no-ovt                      | classic xml ovc gcp
# refusals and ends
seneca-free          | seneca    |                             | adjust prj xml
seneca-gps           | seneca    | n=20                        | adjust prj gcp pos --settings in/AdjPara_gps.xml
refused-count        | plain     | prj:1=many                  | adjust prj gcp xml
refused-camera       | plain     | prj:2=1~2~x                 | adjust prj gcp xml
refused-ordinal      | plain     | prj:3=1~7                   | adjust prj gcp xml
refused-cut          | plain     | prj:half                      | adjust prj gcp xml
refused-doubled      | plain     | prj:65+                     | adjust prj gcp xml
refused-line-gone    | plain     | prj:9-                      | adjust ovc gcp xml ; adjust prj gcp xml
refused-ovc          | plain     | ovc:half                      | adjust ovc gcp xml
refused-ovt          | plain     | ovt:half                    | adjust ovc gcp xml
refused-gcp          | plain     | gcp:4=0~x~1                 | adjust prj gcp xml
refused-pos          | drifts    | gps pos:3=A~1~2 pos:5+      | adjust prj gcp pos xml
refused-pos-unused   | drifts    |                             | adjust prj gcp pos xml
refused-xml          | plain     | Set_EOP_Unknown=yes Max_LM_Iteration_Num=few | adjust prj gcp xml
refused-xml-cut      | plain     | xml:half                      | adjust prj gcp xml
refused-no-file | plain | no-ovt | adjust ovc xml ; bare-adjust in/none.prj ; adjust prj xml --gcp none
refused-out          | plain     |                             | adjust prj gcp xml --out in/block.prj/out
told-distortion      | plain     | prj:2=1~8000~12000~0~12000~0~0~0~2e-5~0 | adjust prj gcp xml
told-image-lost      | cameras   | prj:8=0~0~0                 | adjust prj gcp xml
told-camera-lost     | cameras   | ovc:3=1~8000~12000~0~-1~0~0~0~0~0 | adjust ovc gcp xml
usage | plain |  | bare-adjust ; bare-adjust prj --processors 0 ; bare-adjust prj --memory x
usage-devices | plain |  | bare-adjust prj --device x ; bare-adjust prj --kernels x ; bare x
help                 | plain     |                             | bare --help ; bare-adjust --help ; bare-generate --help
generate-refused | plain |  | bare-generate x --strips 0 ; bare-generate in/block.prj ; bare-generate
strict               | own       | n=2                         | adjust prj gcp xml --strict
wrong-control        | plain     | gcp:2=G00001~1~1~9000~1     | adjust prj gcp xml
twice | small |  | adjust ovc gcp xml ; adjust prj gcp xml --strict ; classic xml ovc gcp
fails-after-good     | small     | no-ovt                      | adjust prj gcp xml ; adjust ovc gcp xml
END

my %short = (
  sparse => 'Apply_PCG_Model=true', eop => 'Set_IOP_Unknown=false', iop => 'Set_EOP_Unknown=false',
  gps => 'Apply_GPS_Data=true', imu => 'Apply_IMU_Data=true', 'no-const' => 'Correct_Const_Error=false',
  'no-drift' => 'Correct_LinearError=false', 'no-norm' => 'Coor_Normalization=false',
  thin => 'Resampling_Points=true', direct => 'Direct_Intersection=true', absolute => 'Absolute_Orientation=true');

my %file = (prj => 'block.prj', ovc => 'block.ovc', ovt => 'block.ovt', gcp => 'block_gcp.txt',
  pos => 'block_pos.txt', xml => 'AdjPara.xml', ini => 'AdjPara.ini');
my %seneca = (prj => 'seneca_start.prj', gcp => 'seneca_gcp.txt', pos => 'seneca_pos.txt');

sub slurp {
  my ($path) = @_;
  open(my $in, '<:raw', $path) or die "can't read $path: $!\n";
  local $/;
  return scalar(<$in>) // '';
}

sub spill {
  my ($path, $text) = @_;
  open(my $out, '>:raw', $path) or die "can't write $path: $!\n";
  print $out $text;
  close($out) or die "can't write $path: $!\n";
}

sub rows {
  my ($table) = @_;
  my @rows;
  for my $line (grep { /\S/ && !/^#/ } split /\n/, $table) {
    push @rows, [map { s/^\s+|\s+$//gr } split /\|/, $line];
  }
  return @rows;
}

# What is left out of the texts of a run, and nothing else: date and time of its begin, durations, the memory of the
# host device, and the free memory that the classic program, which can't be told one, finds.
sub normalised {
  my ($text, $classic) = @_;
  $text =~ s/^(Adjustment begin:)\d+-\d\d-\d\d \d\d:\d\d:\d\d$/$1/mg;
  $text =~ s/^(>>Elapsed time:|Find image name elapsed time:|Total run time:)[0-9.]+s$/$1/mg;
  $text =~ s/ GlobalMemory\(GB\):\d+ / GlobalMemory(GB): /g;
  $text =~ s/^(Cuurent available memory:)[0-9.]+MB$/$1/mg if $classic;
  return $text;
}

sub changeSetting {
  my ($folder, $name, $value) = @_;
  my $found = 0;
  for my $path (glob "$folder/*.xml") {
    my $text = slurp($path);
    $found += $text =~ s{(<\Q$name\E>)[^<]*(</\Q$name\E>)}{$1$value$2};
    spill($path, $text);
  }
  my $number = $value eq 'true' ? 1 : $value eq 'false' ? 0 : $value;
  for my $path (glob "$folder/*.ini") {
    my $text = slurp($path);
    $found += $text =~ s{^(\Q$name\E:).*}{$1$number}m;
    spill($path, $text);
  }
  die "no setting is called $name\n" if !$found;
}

sub changeFile {
  my ($path, $change) = @_;
  my $text = slurp($path);
  if ($change eq 'half') {
    return spill($path, substr($text, 0, length($text) / 2));
  }
  my ($number, $what, $line) = $change =~ /^(\d+)([=+-])(.*)$/ or die "no change to a file: $change\n";
  my @lines = split /^/, $text;
  die "no line $number in $path\n" if $number > @lines;
  my $old = $lines[$number - 1];
  $lines[$number - 1] = $what eq '=' ? ($line =~ tr/~/ /r) . "\n" : $what eq '+' ? $old . $old : '';
  spill($path, join('', @lines));
}

sub change {
  my ($folder, $changes) = @_;
  my @changes = split ' ', $changes;
  unshift @changes, 'n=4' if -e "$folder/AdjPara.xml" && $changes !~ /\bn=/;
  for my $change (map { $short{$_} // $_ } @changes) {
    if ($change eq 'no-settings') { unlink "$folder/AdjPara.xml", "$folder/AdjPara.ini" }
    elsif ($change eq 'no-ovt') { unlink "$folder/block.ovt" }
    elsif ($change eq 'no-strips') { spill("$folder/$file{pos}", slurp("$folder/$file{pos}") =~ s/ \d+$/ 0/mgr) }
    elsif ($change =~ /^(\w+):(.*)$/) { changeFile("$folder/$file{$1}", $2) }
    elsif ($change =~ /^(\w+)=(.*)$/) {
      my %name = (n => 'Max_LM_Iteration_Num', cells => 'Point_Resample_Number');
      changeSetting($folder, $name{$1} // $1, $2);
    } else { die "no change: $change\n" }
  }
}

# The words of a command line of the tables, the program first.
sub words {
  my ($command) = @_;
  my ($verb, @words) = split ' ', $command;
  my $bare = $verb =~ s/^bare-?//;
  my ($orvo, $classic) = ('../../bin/orvo', '../../bin/orvo_adjust');
  if ($verb eq 'classic') {
    return ($classic, @words) if $bare;
    my %given = map { $_ => "in/$file{$_}" } @words;
    return ($classic, $given{xml} // $given{ini} // '', $given{prj} // $given{ovc}, $given{gcp} // '',
      $given{pos} // '', 'out');
  }
  my %option = (gcp => '--gcp', pos => '--pos', xml => '--settings', ini => '--settings', prj => '', ovc => '');
  my @line = ($orvo, $verb ne '' ? $verb : ());
  for my $word (@words) {
    if ($word eq 'host' || $word eq 'literal') {
      push @line, '--device', 'host', $word eq 'literal' ? ('--kernels', 'literal') : ();
    } elsif (defined $option{$word}) {
      push @line, grep { $_ ne '' } $option{$word}, "in/$file{$word}";
    } else {
      push @line, $word;
    }
  }
  return @line if $bare;
  # The messages of the system are what must not change; tables for people have times in them.
  push @line, '--log' if $verb eq 'adjust';
  my %usual = ('--processors' => 3, '--memory' => '1G', '--out' => 'out');
  for my $name (sort keys %usual) {
    push @line, $name, $usual{$name} if !grep { $_ eq $name } @line;
  }
  return @line;
}

# Runs a program in a folder; how it ended.
sub execute {
  my ($folder, $number, @words) = @_;
  my $pid = fork() // die "can't fork: $!\n";
  if ($pid == 0) {
    chdir $folder or POSIX::_exit(126);
    $ENV{LC_ALL} = 'C';
    open(STDIN, '<', '/dev/null');
    open(STDOUT, '>', "console_$number.out");
    open(STDERR, '>', "console_$number.err");
    alarm 300;  # goes on in the program, and ends one that hangs
    exec { $words[0] } @words or POSIX::_exit(127);
  }
  waitpid($pid, 0);
  return $? & 127 ? 'signal ' . ($? & 127) : 'exit ' . ($? >> 8);
}

# What is in a folder: by name the first half of the SHA-256 of a file, or what else it is. Of the files that tell
# times and memory, no two runs the same, only that they are whole.
my %ends = ('summary.json' => "}\n", 'report.html' => "</html>\n");
sub filesOf {
  my ($folder) = @_;
  my %files;
  find({no_chdir => 1, wanted => sub {
    return if $_ eq $folder;
    my $name = substr($_, length($folder) + 1);
    if (-l $_) { $files{$name} = 'link' }
    elsif (-d $_) { $files{"$name/"} = 'folder' }
    elsif (my $end = $ends{$name =~ s{.*/}{}r}) {
      $files{$name} = substr(slurp($_), -length $end) eq $end ? 'whole' : 'cut';
    }
    else { $files{$name} = -f $_ ? substr(sha256_hex(slurp($_)), 0, 32) : 'no plain file' }
  }}, $folder);
  return %files;
}

# One run of the tables in a folder of its own; what it left, by name.
sub runOnce {
  my ($root, $name, $block, $changes, $commands) = @_;
  my $folder = "$root/runs/$name";
  make_path("$folder/in");
  for my $path (glob "$root/blocks/$block/*") {
    copy($path, "$folder/in/") or die "can't copy $path: $!\n";
  }
  change("$folder/in", $changes);
  my %before = filesOf($folder);
  my %left;
  my $number = 0;
  for my $command (split /\s+;\s+/, $commands) {
    $left{"end_$number"} = execute($folder, $number, words($command));
    ++$number;
  }
  my %after = filesOf($folder);
  for my $file (grep { m{(^|/)(console_\d+\.(out|err)|log\.txt|OrvoAdjustReport\.txt)$} } keys %after) {
    spill("$folder/$file", normalised(slurp("$folder/$file"), scalar($commands =~ /classic/)));
  }
  %after = filesOf($folder);
  for my $file (keys %after) {
    $left{$file} = $after{$file} if !defined $before{$file} || $before{$file} ne $after{$file};
  }
  for my $file (keys %before) {
    $left{$file} = 'gone' if !defined $after{$file};
  }
  return map { ("$name/$_" => $left{$_}) } keys %left;
}

sub makeBlock {
  my ($root, $name, $options) = @_;
  my $folder = "$root/blocks/$name";
  make_path($folder);
  my %left = (end => execute($folder, 0, '../../bin/orvo', 'generate', '.', split ' ', $options));
  %left = (%left, filesOf($folder));
  unlink glob "$folder/console_*";
  return map { ("block-$name/$_" => $left{$_}) } keys %left;
}

sub copySeneca {
  my ($root) = @_;
  my $folder = "$root/blocks/seneca";
  make_path($folder);
  for my $path (glob "$source/examples/seneca/*") {
    my $name = $path =~ s{.*/}{}r;
    my ($kind) = grep { $seneca{$_} eq $name } keys %seneca;
    copy($path, "$folder/" . ($kind ? $file{$kind} : $name)) or die "can't copy $path: $!\n";
  }
}

# Calls a function for each of the rows, two at a time, in processes of their own; all that they return, by name.
sub sideBySide {
  my ($root, $function, @rows) = @_;
  my (%pids, %results);
  my $failed = 0;
  my $reap = sub {
    my $pid = waitpid(-1, 0);
    die "a run is lost\n" if $pid <= 0;
    my $path = delete $pids{$pid} // return;
    $failed = 1 if $? != 0;
    for my $line (-e $path ? split /\n/, slurp($path) : ()) {
      my ($name, $value) = split /\t/, $line;
      $results{$name} = $value;
    }
    unlink $path;
  };
  for my $row (@rows) {
    $reap->() while keys %pids >= 2;
    my $path = "$root/results_$row->[0]";
    my $pid = fork() // die "can't fork: $!\n";
    if ($pid == 0) {
      my %left = eval { $function->($root, @$row) };
      print STDERR "$row->[0]: $@" if $@ ne '';
      my $failure = $@ ne '' ? 1 : 0;
      spill($path, join('', map { "$_\t$left{$_}\n" } keys %left));
      POSIX::_exit($failure);
    }
    $pids{$pid} = $path;
  }
  $reap->() while %pids;
  die "some runs could not be made\n" if $failed;
  return %results;
}

sub chosenRuns {
  my ($pattern) = @_;
  return grep { /(?:$pattern)/ } map { $_->[0] } rows($runs);
}

# All that the programs of a build leave: by run and file its checksum, or what else it is.
sub runAll {
  my ($build, $root, $pattern) = @_;
  make_path("$root/bin");
  for my $program (@programs) {
    symlink(abs_path("$build/bin/$program"), "$root/bin/$program") or die "can't link $program: $!\n";
  }
  my %chosen = map { $_ => 1 } chosenRuns($pattern);
  my @chosen = grep { $chosen{$_->[0]} } rows($runs);
  my %needed = map { $_->[1] => 1 } @chosen;
  my %results = sideBySide($root, \&makeBlock, grep { $needed{$_->[0]} } rows($blocks));
  copySeneca($root) if $needed{seneca};
  return (%results, sideBySide($root, \&runOnce, @chosen));
}

sub firstMatch {
  my ($pattern, @paths) = @_;
  for my $path (grep { -r $_ } @paths) {
    return $1 if slurp($path) =~ $pattern;
  }
  return 'unknown';
}

# What the numbers depend on besides the sources, as the head of a file of checksums.
sub conditions {
  my ($build) = @_;
  my @compiler = glob "$build/CMakeFiles/*/CMakeCXXCompiler.cmake";
  my $cache = "$build/CMakeCache.txt";
  my $type = firstMatch(qr/^CMAKE_BUILD_TYPE:\w+=(\w*)/m, $cache);
  my @flags = map { firstMatch(qr/^$_:\w+=(.*)$/m, $cache) } 'CMAKE_CXX_FLAGS', 'CMAKE_CXX_FLAGS_' . uc $type;
  my @version = map { firstMatch(qr/CMAKE_CXX_COMPILER_$_ "([^"]*)"/, @compiler) } 'ID', 'VERSION';
  my @lines = ('compiler: ' . join(' ', @version, $type, grep { $_ ne '' } @flags));
  my %has = map { $_ => 1 } split ' ', firstMatch(qr/^flags\s*:(.*)$/m, '/proc/cpuinfo');
  my $avx2 = !grep { !$has{$_} } qw(avx2 fma popcnt);
  my $avx512 = $avx2 && !grep { !$has{$_} } qw(avx512f avx512vl avx512dq avx512bw);
  push @lines, 'instructions: ' . (POSIX::uname())[4] . ' ' . ($avx512 ? 'avx512' : $avx2 ? 'avx2' : 'baseline');
  my @libraries = ((`getconf GNU_LIBC_VERSION` || 'libc unknown') =~ s/\n//r);
  for my $library ('Eigen3', 'fmt', 'pugixml', 'CLI11') {
    my $folder = firstMatch(qr/^${library}_DIR:\w+=(.*)$/m, $cache);
    push @libraries, "$library " . firstMatch(qr/set\s*\(\s*PACKAGE_VERSION\s+"?([0-9.]+)/,
      "$folder/${library}ConfigVersion.cmake", "$folder/" . lc($library) . '-config-version.cmake');
  }
  push @lines, 'libraries: ' . join(', ', @libraries), "processors: $processors";
  return join("", map { "# $_\n" } @lines);
}

# The classic program takes as many processors as it may use: two, where there are as many. How many there are.
sub bindToTwo {
  my $allowed = firstMatch(qr/^Cpus_allowed_list:\s*(\S+)/m, "/proc/$$/status");
  my @all = map { /^(\d+)-(\d+)$/ ? $1 .. $2 : $_ } split /,/, $allowed;
  return scalar(@all) if @all <= 2;
  my @two = @all[0, 1];
  system("taskset -cp $two[0],$two[1] $$ >/dev/null 2>&1") == 0 or die "taskset is needed, and failed\n";
  return 2;
}

# Tells what differs; the number of differences.
sub differences {
  my ($old, $new, $oldName, $newName) = @_;
  my $number = 0;
  for my $name (sort keys %{{%$old, %$new}}) {
    my ($a, $b) = ($old->{$name}, $new->{$name});
    next if defined $a && defined $b && $a eq $b;
    ++$number;
    print !defined $a ? "$name: only from $newName\n" : !defined $b ? "$name: only from $oldName\n"
      : "$name: differs" . ($a =~ /^(exit|signal)/ ? ", $a and $b" : '') . "\n";
  }
  print "$number of ", scalar(keys %$old), " entries differ\n";
  return $number;
}

# Compares with a file of recorded checksums.
sub check {
  my ($root, $conditions, $build, $file, $pattern) = @_;
  my @lines = split /^/, slurp($file);
  my $recorded = join("", grep { /^# / } @lines);
  if ($recorded ne $conditions) {
    print "not compared: $file was recorded with\n${recorded}and here there are\n$conditions";
    return 77;
  }
  my %old = map { /^(.*?)  (.*)$/ ? ($2 => $1) : () } grep { !/^#/ } @lines;
  my %new = runAll($build, $root, $pattern);
  if ($pattern ne "") {
    my %chosen = map { $_ => 1 } chosenRuns($pattern);
    delete @old{grep { !$chosen{s{/.*}{}r} } keys %old};
    delete @new{grep { !$chosen{s{/.*}{}r} } keys %new};
  }
  return 0 if !differences(\%old, \%new, $file, $build);
  print "what the runs left: $root; compare says more, with a build of the sources of $file\n";
  return 1;
}

sub record {
  my ($root, $conditions, $build, $file, $pattern) = @_;
  my %new = runAll($build, $root, $pattern);
  spill($file, join("", $conditions, map { "$new{$_}  $_\n" } sort keys %new));
  print scalar(keys %new), " entries of ", scalar(chosenRuns($pattern)), " runs\n";
  return 0;
}

sub compare {
  my ($root, $conditions, $build, $other, $pattern) = @_;
  my $others = conditions($other);
  print "the builds differ in more than sources:\n$conditions$others" if $conditions ne $others;
  my %old = runAll($build, "$root/a", $pattern);
  my %new = runAll($other, "$root/b", $pattern);
  return 0 if !differences(\%old, \%new, $build, $other);
  print "to see more: diff -r $root/a $root/b\n";
  return 1;
}

sub usage {
  print STDERR "usage: $0 record|check BUILD FILE [PATTERN] | compare BUILD BUILD [PATTERN] | list\n";
  return 2;
}

sub main {
  my ($mode, $build, $other, $pattern) = (@_, ("") x 4);
  if ($mode eq "list") {
    print map { "$_\n" } chosenRuns("");
    return 0;
  }
  my $function = {record => \&record, check => \&check, compare => \&compare}->{$mode};
  return usage() if !defined $function || $other eq "";
  die "no run is called like $pattern\n" if !chosenRuns($pattern);
  for my $folder ($build, $mode eq "compare" ? $other : ()) {
    for my $program (@programs) {
      die "$folder/bin/$program is not there\n" if !-x "$folder/bin/$program";
    }
  }
  $processors = bindToTwo();
  $scratch = tempdir("orvo-bytes-XXXXXX", TMPDIR => 1);
  my $status = $function->($scratch, conditions($build), $build, $other, $pattern);
  remove_tree($scratch) if $status != 1;
  return $status;
}

my $status = eval { main(@ARGV) };
if ($@ ne '') {
  print STDERR $@;
  remove_tree($scratch) if defined $scratch;
  exit 2;
}
exit $status;
