# Small trees of files for the tests of the gates, and runs of the scripts on them.
package MadeUpTree;
use strict;
use warnings;
use Cwd qw(abs_path);
use Exporter 'import';
use File::Basename qw(dirname);
use File::Path qw(make_path);
use File::Temp qw(tempdir);
our @EXPORT_OK = qw(scripts_folder tree run_script);

sub scripts_folder { return abs_path(dirname(__FILE__) . '/../../scripts') }

# A new folder with files of these texts, by path; it goes with the test.
sub tree {
  my (%texts) = @_;
  my $folder = tempdir(CLEANUP => 1);
  for my $path (sort keys %texts) {
    make_path(dirname("$folder/$path"));
    open(my $file, '>:raw', "$folder/$path") or die "can't write $path: $!\n";
    print $file $texts{$path};
    close $file or die "can't write $path: $!\n";
  }
  return $folder;
}

# Output and exit status of one of the scripts.
sub run_script {
  my ($name, @arguments) = @_;
  open(my $output, '-|', 'sh', '-c', 'exec "$@" 2>&1', 'sh', $^X, scripts_folder() . "/$name", @arguments)
    or die "can't run $name: $!\n";
  my $text = do { local $/; <$output> };
  close $output;
  return (defined $text ? $text : '', $? >> 8);
}

1;
