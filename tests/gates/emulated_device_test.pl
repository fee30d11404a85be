#!/usr/bin/env perl
# emulated-device.sh in a made up tree, with stand-ins for the emulator, CMake and orvo.
use strict;
use warnings;
use File::Copy qw(copy);
use FindBin;
use lib $FindBin::Bin;
use MadeUpTree qw(tree scripts_folder);
use Test::More;

my $cache = "CMAKE_GENERATOR:INTERNAL=Ninja\nORVO_CUDA:STRING=AUTO\nCMAKE_CUDA_COMPILER:FILEPATH=/bin/nvcc\nORVO_BUILD_TESTS:BOOL=ON\n";
my $tree = tree(
  'build/release/CMakeCache.txt' => $cache,
  'bin/cmake' => "#!/bin/sh\necho compiling\nexit \${CMAKE_ENDS:-0}\n",
  'bin/python3' => "#!/bin/sh\n",
  'bin/ninja' => "#!/bin/sh\necho ninja: real \"\$@\"\n",
  'bin/cuda-on-cpu' => <<'END', 'scripts/x' => '');
#!/bin/sh
echo "asked: $*"
if [ "$1" = build ]; then ninja -C b -n; ninja -C b; exit ${BUILD_ENDS:-0}; fi
sleep ${CHECK_TAKES:-0}
echo "${CHECK_SAYS:-3 passed, 0 failed}"
exit ${CHECK_ENDS:-0}
END
chmod 0755, glob("$tree/bin/*");
for my $name (qw(emulated-device.sh emulated-orvo.sh)) {
  copy(scripts_folder() . "/$name", "$tree/scripts/$name") or die "$name: $!";
  chmod 0755, "$tree/scripts/$name";
}

sub write_file {
  my ($path, $text) = @_;
  open(my $file, '>:raw', $path) or die "can't write $path: $!\n";
  print $file $text;
  close $file;
}
sub read_file {
  open(my $file, '<:raw', $_[0]) or return '';
  local $/;
  return scalar <$file>;
}
sub stage {
  my ($environment, @arguments) = @_;
  local $ENV{PATH} = "$tree/bin:$ENV{PATH}";
  local $ENV{ORVO_CUDA_ON_CPU} = "$tree/bin/cuda-on-cpu";
  local @ENV{keys %$environment} = values %$environment;
  open(my $output, '-|', 'sh', '-c', 'exec "$@" 2>&1', 'sh', "$tree/scripts/emulated-device.sh", @arguments) or die;
  my $text = do { local $/; <$output> } // '';
  close $output;
  return ($text, $? >> 8);
}

my ($text, $status) = stage({});
is($status, 0, 'a check that passes') or diag $text;
like($text, qr{^asked: build \. \S+/build/emulated-device --build-dir build/release$}m, 'builds from the release build');
like($text, qr/^ninja: no work to do\.\nninja: real -C b\n/m, 'which counts as up to date, once it has been built');
like($text, qr{^asked: check \S+/build/emulated-device/compared --quick$}m, 'and checks');
like($text, qr/^3 passed, 0 failed\n\z/m, 'the last line counts');

for my $row (
  [{CHECK_ENDS => 1, CHECK_SAYS => '2 passed, 1 failed'}, qr/^2 passed, 1 failed\n\z/m, 'a check that fails'],
  [{BUILD_ENDS => 1}, qr/^ninja: real -C b\n\z/m, 'an emulated build that fails'],
  [{CMAKE_ENDS => 1}, qr/^compiling\n\z/m, 'a build that fails'],
  [{CHECK_TAKES => 20}, qr/^FAILED: it was not done after 2 seconds\n\z/m, 'a check that takes too long']) {
  my ($environment, $said, $what) = @$row;
  ($text, $status) = stage($environment, '--seconds', 2);
  is($status, 1, "$what fails") or diag $text;
  like($text, $said, 'and says so');
}

sub left_out {
  my ($what, $because, $environment) = @_;
  ($text, $status) = stage($environment // {});
  is($status, 77, "$what: left out") or diag $text;
  like($text, $because, 'and says why');
}
left_out('an emulator that lacks something', qr/^asked: build/, {BUILD_ENDS => 77});
left_out('no emulator', qr/^left out: ORVO_CUDA_ON_CPU names \S+none, which is no program$/m, {ORVO_CUDA_ON_CPU => "$tree/none"});
for my $row (['CMAKE_GENERATOR', 'Unix Makefiles', qr/was not made by Ninja/], ['ORVO_CUDA', 'OFF', qr/is without CUDA/],
  ['CMAKE_CUDA_COMPILER', 'NOTFOUND', qr/is without CUDA: no nvcc/], ['ORVO_BUILD_TESTS', 'OFF', qr/is without tests/]) {
  my ($entry, $value, $because) = @$row;
  write_file("$tree/build/release/CMakeCache.txt", $cache =~ s/^($entry:\w+=).*$/$1$value/mr);
  left_out("$entry $value", qr/^left out: build\/release $because/);
}
unlink "$tree/build/release/CMakeCache.txt";
left_out('no build', qr/^left out: build\/release is no build/);
for my $arguments (['--seconds', 'many'], ['--fast'], [1, 2, 3]) {
  ($text, $status) = stage({}, @$arguments);
  is($status, 2, "@$arguments is refused");
}

# The stand-in for orvo, where the script puts it.
my $work = "$tree/build/emulated-device";
mkdir "$work/bin";
write_file("$work/bin/orvo", <<'END');
#!/bin/sh
echo "run with $*"
[ "$1" = adjust ] || exit 5
mkdir -p out/unusable
echo numbers >out/unusable/Corrections_0.txt
printf '{\n  "begin": "2026-01-01 10:00:00",\n  "seconds": 0.25,\n  "x": [{"seconds":1.5e-3,"rmse":2.5}],\n  "memory": {"peak_bytes":17}\n}\n' >out/unusable/summary.json
exit $ENDS
END
chmod 0755, "$work/bin/orvo";
sub orvo {
  my ($ends, @arguments) = @_;
  $text = `cd '$tree' && rm -rf out && ENDS=$ends '$work/compared/bin/orvo' @arguments`;
  return $? >> 8;
}
is(orvo(0, 'generate', 'x'), 5, 'other commands go through');
is($text, "run with generate x\n", 'as they are');
is(orvo(3, 'adjust', 'b.prj', '--out', 'out'), 0, 'a verdict on few iterations is none');
is($text, "run with adjust b.prj --out out --no-report\n", 'the page is left out');
is(read_file("$tree/out/Corrections_0.txt"), "numbers\n", 'files stand where those of a good run do');
is(read_file("$tree/out/summary.json"),
  qq({\n  "begin": "",\n  "seconds":0,\n  "x": [{"seconds":0,"rmse":2.5}],\n  "memory": {"peak_bytes":0}\n}\n),
  'times and memory are left out, and nothing else');
is(orvo(1, 'adjust', '--out', 'out'), 1, 'a failure stays one');

done_testing();
