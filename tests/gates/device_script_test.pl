#!/usr/bin/env perl
# bench/device.sh and bench/compare-runs.pl in a made up tree, with stand-ins for the programs and the tools of CUDA.
use strict;
use warnings;
use File::Copy qw(copy);
use File::Path qw(make_path);
use FindBin;
use lib $FindBin::Bin;
use MadeUpTree qw(tree scripts_folder);
use Test::More;

sub summary {
  my ($first, $last, $f) = @_;
  return qq({"iterations":[{"rmse":[$first,2.0]}],"residuals":{"strict_all":{"rmse":[$last,0.5]}},)
    . qq("images":[{"centre":[1.0,2.0,3.0]}],"cameras":[{"end":{"f":$f}}],"ground":{"check":{"rmse":[0.1,0.2,0.3]}}});
}
my $orvo = <<'END' . "printf '%s' '" . summary('20.0', '0.4', '12000.0') . "' >\"\$to/summary.json\"\n";
#!/bin/sh
[ "$1" = adjust ] || exit 0
case "$*" in *merged*literal*) [ -z "$LITERAL_ENDS" ] || exit $LITERAL_ENDS ;; esac
for to in "$@"; do :; done
mkdir -p "$to"
END
my $said = "#!/bin/sh\necho \"\$(basename \"\$0\") \$*\"\n";
my $tree = tree(
  'bench/x' => '',
  'programs/orvo' => $orvo,
  'programs/orvo_test_gpu' => $said . <<'END',
case "$*" in
  *=OnCuda.Devices*) echo "[ RUN      ] one"; [ -z "$NO_DEVICE" ] || echo "[  SKIPPED ] one" ;;
  *) sleep ${TESTS_TAKE:-0}; [ -z "$SKIPS" ] || echo '[  SKIPPED ] 3 tests' ;;
esac
END
  'programs/orvo_test_gpu_driver' => $said,
  'programs/orvo_bench_device' => $said . "echo '| fast | 1.0 M |'\nexit \${BENCH_ENDS:-0}\n",
  'bin/compute-sanitizer' => $said . "case \"\$*\" in *racecheck*) exit \${RACES:-0} ;; esac\n",
  'bin/ncu' => "#!/bin/sh\nexit 1\n", 'bin/nsys' => $said,
  'bin/nvidia-smi' => "#!/bin/sh\nexit 9\n", 'bin/nvcc' => "#!/bin/sh\nexit 1\n",
);
chmod 0755, glob("$tree/bin/* $tree/programs/*");
for my $name (qw(device.sh compare-runs.pl)) {
  copy(scripts_folder() . "/../bench/$name", "$tree/bench/$name") or die "$name: $!";
  chmod 0755, "$tree/bench/$name";
}

sub run {
  my ($environment, @command) = @_;
  local $ENV{PATH} = "$tree/bin:$ENV{PATH}";
  local @ENV{keys %$environment} = values %$environment;
  open(my $output, '-|', 'sh', '-c', 'cd "$1" && shift && exec "$@" 2>&1', 'sh', $tree, @command) or die;
  my $text = do { local $/; <$output> } // '';
  close $output;
  return ($text, $? >> 8);
}
sub device { my ($environment, @arguments) = @_; return run($environment, "$tree/bench/device.sh", @arguments) }
sub read_file {
  open(my $file, '<:raw', "$tree/$_[0]") or return '';
  local $/;
  return scalar <$file>;
}
# The rows of steps in the summary: step => 'result remark'.
sub rows {
  return map { /^\| (\w+) \| (passed|failed|skipped) \| \d+ \| (.*?) ?\|$/ ? ($1 => $3 eq '' ? $2 : "$2 $3") : () }
    split /\n/, read_file('results/summary.md');
}
my @steps = qw(facts build tests memcheck racecheck initcheck runs literal host times profile);

my ($text, $status) = device({}, '--dry');
is($status, 0, 'what would be done needs no device');
is_deeply([$text =~ /^(\w+) \(\d+ s\)$/mg], \@steps, 'names all steps');
like($text, qr/^  cmake --preset cuda -B build\/device /m, 'and their commands');
is(() = $text =~ /^  timeout 120 \S+orvo adjust /mg, 20, 'five blocks, on two devices, in two forms');
is(() = $text =~ /orvo_bench_device --device cuda --measurements 100000000 /g, 1, 'and the largest size');
ok(!-e "$tree/build", 'and nothing is made');
($text, $status) = device({}, '--dry', '--steps', 'runs,tests', '--minutes', 3);
is_deeply([$text =~ /^(\w+ \(\d+ s\))$/mg], ['runs (30 s)', 'tests (18 s)'], 'steps that are named, in their share of the time');

($text, $status) = device({});
is($status, 77, 'without a device: skipped');
like($text, qr/^There is no CUDA device here, or no nvidia-smi that knows of it: nothing was done\.$/m, 'and said');
for my $arguments (['--steps', 'dance'], ['--minutes', '0'], ['--out'], ['--programs', 'nowhere'], ['--fast']) {
  ($text, $status) = device({}, @$arguments);
  is($status, 2, "@$arguments is refused");
}

my @here = ('--programs', 'programs', '--out', 'results');
($text, $status) = device({NO_DEVICE => 1}, @here);
is($status, 77, 'programs that see no device');
($text, $status) = device({}, @here);
is($status, 0, 'all steps') or diag $text;
is_deeply({rows()}, {(map { $_ => 'passed' } @steps), build => 'skipped --programs names what is built'}, 'have their line');
like(read_file('results/memcheck.log'), qr/--tool memcheck --error-exitcode 9 .*programs\/orvo_test_gpu /, 'their log');
like(read_file('results/profile.log'), qr/^nsys profile /m, 'and nsys does what ncu could not');
my $page = read_file('results/summary.md');
is(() = $page =~ / \| near \|$/mg, 15, 'five blocks: literal and fast, and each on host and device');
like($page, qr/^\| merged \| cuda \| literal \| \d+ \| 0 \|$/m, 'whole runs with their times');
like($page, qr/^\| fast \| 1\.0 M \|$/m, 'and the table of the kernels');

($text, $status) = device({RACES => 9, LITERAL_ENDS => 1, SKIPS => 1, BENCH_ENDS => 1}, @here);
is($status, 1, 'what fails');
my %rows = rows();
for my $step (qw(tests racecheck runs times)) {
  is($rows{$step}, "failed exit status " . ($step eq 'racecheck' ? 9 : 1) . ": see $step.log", "$step, told");
}
is($rows{literal}, 'failed exit status 1: see literal.log', 'runs that are not there are not near each other');
is($rows{$_}, 'passed', "and $_ goes on") for qw(memcheck initcheck);
($text, $status) = device({}, @here, '--steps', 'facts');
unlike(read_file('results/summary.md'), qr/^## /m, 'tables of an earlier call are not told again');
like(read_file('results/runs.log'), qr/./, 'but stay');
($text, $status) = device({TESTS_TAKE => 60}, @here, '--steps', 'tests,memcheck', '--minutes', 1);
%rows = rows();
is($rows{tests}, 'failed not done after 6 s', 'a step that takes too long ends');
is($rows{memcheck}, 'passed', 'and leaves the next its time');

sub compared {
  my (@summaries) = @_;
  for my $k (0, 1) {
    make_path("$tree/$k");
    open(my $file, '>', "$tree/$k/summary.json") or die;
    print $file $summaries[$k];
  }
  return run({}, "$tree/bench/compare-runs.pl", 'a: b, c', '0', '1');
}
for my $row (
  [[20.0, 0.4, 12000.0], [20.0001, 0.4001, 12000.5], 0, qr/ 5\.0e-06 .* 2\.5e-04 \| 0\.00e\+00 \| 5\.00e-01 \| 0\.00e\+00 \| near \|$/],
  [[20.0, 0.4, 12000.0], [20.01, 0.4, 12000.0], 1, qr/ \*\*apart\*\* \|$/],
  [[20.0, 0.4, 12000.0], [20.0, 0.41, 12000.0], 1, qr/ \*\*apart\*\* \|$/]) {
  my ($one, $other, $code, $line) = @$row;
  ($text, $status) = compared(summary(@$one), summary(@$other));
  is($status, $code, "@$one and @$other");
  like($text, $line, 'in a row');
}
for my $broken ('', '{', '{}', '{"iterations":[]}', 'null', '[]', '{"iterations":7}') {
  ($text, $status) = compared(summary(20, 0.4, 1), $broken);
  is($status, 2, "not compared with '$broken'");
  like($text, qr/^1 has no summary of a whole run$/m, 'and said');
}

done_testing();
