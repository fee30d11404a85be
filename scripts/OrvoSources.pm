# The sources as the scripts beside this see them: files, includes, text without comments, functions, rooms.
package OrvoSources;
use strict;
use warnings;
use Exporter 'import';
our @EXPORT_OK = qw(repository slurp source_files includes_of plain_text functions_of read_layers room_of may_include);

# The folder that the scripts stand in, or the one that was asked for.
sub repository {
  my ($asked) = @_;
  return $asked if defined $asked;
  return $0 =~ m{^(.*?)/?scripts/[^/]*$} && $1 ne '' ? $1 : '.';
}

sub slurp {
  my ($path) = @_;
  open(my $file, '<:raw', $path) or die "can't read $path: $!\n";
  local $/;
  my $text = <$file>;
  return defined $text ? $text : '';
}

# The sources below the folders of a tree, sorted, as paths from its top.
sub source_files {
  my ($root, @folders) = @_;
  my @found;
  for my $folder (@folders) {
    opendir(my $dir, "$root/$folder") or next;
    for my $name (sort grep { !/^\./ } readdir $dir) {
      my $path = "$folder/$name";
      if (-d "$root/$path") { push @found, source_files($root, $path) }
      elsif ($name =~ /\.(?:h|cpp|cu|cuh)$/) { push @found, $path }
    }
  }
  return @found;
}

my $raw_string = qr/(?:u8|[uUL])?R"([^\s()\\"]{0,16})\(.*?\)\g{-1}"/s;
my $string = qr/(?:u8|[uUL])?"(?:[^"\\\n]|\\.)*"/s;
my $character = qr/(?:u8|[uUL])?'(?:[^'\\\n]|\\.)+'/s;
my $number = qr/\.?\d(?:'?[\w.]|(?<=[eEpP])[+-])*/;
my $comment = qr{//(?:[^\n\\]|\\.)*|/\*.*?\*/}s;

# The text with every comment blank, and every literal an empty one; no line moves.
sub plain_text {
  my ($text) = @_;
  my $plain = '';
  while ($text =~ /\G(?:($comment)|($raw_string)|($string)|($number|\w+)|($character)|(.))/gs) {
    if (defined $1) { $plain .= ' ' . $1 =~ tr/\n//cdr }
    elsif (defined $2) { $plain .= '""' . $2 =~ tr/\n//cdr }
    elsif (defined $4) { $plain .= '""' . $4 =~ tr{\n}{}cdr }
    elsif (defined $5) { $plain .= $5 }
    elsif (defined $6) { $plain .= '0' }
    else { $plain .= $7 }
  }
  return $plain;
}

# The includes of a text: {line, name, angle} each. Those in comments do not count.
sub includes_of {
  my ($text) = @_;
  my @found;
  # A quoted name is a literal, so the place is looked up without them and the name with them.
  my @plain = split /\n/, plain_text($text), -1;
  my @lines = split /\n/, $text, -1;
  for my $index (0 .. $#plain) {
    # Other ways to write a directive hide what it includes.
    if ($plain[$index] =~ /^\s*(?:%:|\?\?=|#\s*\\$)/ || $plain[$index] =~ /\b__has_include\b.*"/) {
      push @found, {line => $index + 1, name => undef, angle => 0};
      next;
    }
    next if $plain[$index] !~ /^\s*#\s*(?:include|include_next|import)\b/;
    if ($lines[$index] =~ /#\s*(?:include|include_next|import)\s*(?:"([^"]*)"|<([^>]*)>)/) {
      push @found, {line => $index + 1, name => $1 // $2, angle => defined $2};
    } else {
      push @found, {line => $index + 1, name => undef, angle => 0};
    }
  }
  return @found;
}

# ---- Functions: braces are followed from scope to scope, and what stands before one says what it opens.

# What a brace opens behind `head`, the text since the last statement or scope: 'space' (a namespace), 'type',
# 'function' or 'value' (an initializer, which the statement goes on behind).
sub opened_by {
  my ($head) = @_;
  $head =~ s/\[\[.*?\]\]//gs;
  return 'space' if $head =~ /(?:^|\s)namespace(?:\s+[\w:]+)?\s*$/ || $head =~ /^\s*extern\s*""\s*$/;
  # Of arguments and the like only the parentheses are told apart.
  1 while $head =~ s/\([^()]*\)/\x01/g;
  1 while $head =~ s/^\s*template\s*(<(?:[^<>]|(?1))*>)//;
  my $bare = $head =~ s/\b(?:alignas|__attribute__|decltype|noexcept|explicit)\s*\x01//gr;
  return 'type' if $bare =~ /^\s*(?:typedef\s+|static\s+|constexpr\s+|inline\s+|const\s+)*(?:class|struct|union|enum)\b/ &&
                   $bare !~ /\x01/;
  return 'value' if $head =~ /\brequires\s*\x01?\s*$/;
  (my $unnamed = $head) =~ s/\boperator\s*(?:\x01|[^\s\w\x01]+)//g;
  # A variable with an initializer; one that is a lambda has a body to be measured.
  if ($unnamed =~ /=/) {
    return $unnamed =~ /=\s*\[[^\]]*\]\s*(?:\x01|$)/ ? 'function' : 'value';
  }
  return 'value' if $head !~ /\x01/;
  # Member initializers: a brace right behind a name belongs to that member.
  return 'value' if $head =~ /\x01[^:]*(?<!:):(?!:)(?:.*,)?\s*[\w:]+\s*(?:<[^{}]*>)?\s*$/s;
  return 'function';
}

sub name_of {
  my ($head) = @_;
  $head =~ s/\[\[.*?\]\]//gs;
  $head =~ s/\b(?:alignas|__attribute__|__launch_bounds__|explicit)\s*(\((?:[^()]|(?1))*\))//g;
  $head =~ s/^\s*template\s*(<(?:[^<>()]|\([^()]*\)|(?1))*>)//;
  return "$1($2)" if $head =~ /^\s*([A-Z][A-Z_]+)\s*\(([^()]*)\)\s*$/;
  return $1 if $head =~ /((?:[\w~]+\s*(?:<[^<>()]*>)?\s*::\s*)*(?:operator\b\s*(?:\(\s*\)|[^(]+?)|~?\w+))\s*(?:<[^<>()]*>)?\s*\(/;
  return $1 if $head =~ /(\w+)\s*=/;
  return '?';
}

# The functions of a text: {name, line, lines}, from the first line of the declaration to the closing brace. Functions
# inside of functions are part of these.
sub functions_of {
  my ($text) = @_;
  my $plain = plain_text($text);
  my @functions;
  my @scopes;      # {kind, head, line}
  my @conditions;  # scopes and head at each open #if
  my ($line, $head, $head_line) = (1, '', undef);
  my $fault;
  while ($plain =~ /\G(?:(^[ \t]*#(?:[^\n\\]|\\.)*)|([{};])|([^{};#\n]+)|(\n)|(#))/gms) {
    if (defined $1) {
      my $directive = $1;
      if ($directive =~ /^\s*#\s*if/) { push @conditions, [[@scopes], $head, $head_line] }
      elsif ($directive =~ /^\s*#\s*el/ && @conditions) {
        my $saved = $conditions[-1];
        (@scopes, $head, $head_line) = ();
        @scopes = @{$saved->[0]};
        ($head, $head_line) = ($saved->[1], $saved->[2]);
      }
      elsif ($directive =~ /^\s*#\s*endif/) { pop @conditions }
      $line += $directive =~ tr/\n//;
    } elsif (defined $4) {
      ++$line;
      $head .= ' ';
    } elsif (defined $3) {
      my $piece = $3;
      $head_line //= $line if $piece =~ /\S/;
      $head .= $piece;
      ($head, $head_line) = ('', undef) if $head =~ /^\s*(?:public|private|protected)\s*:\s*$/;
    } elsif (defined $2) {
      my $brace = $2;
      my $inside = grep { $_->{kind} eq 'function' } @scopes;
      if ($brace eq '{') {
        my $kind = $inside ? 'inner' : @scopes && $scopes[-1]{kind} eq 'value' ? 'value' : opened_by($head);
        push @scopes, {kind => $kind, head => $head, line => $head_line // $line};
        ($head, $head_line) = ('', undef) if $kind ne 'value';
      } elsif ($brace eq '}') {
        my $scope = pop @scopes;
        if (!$scope) { $fault //= $line; next }
        if ($scope->{kind} eq 'value') { ($head, $head_line) = ("$scope->{head}\x02", $scope->{line}) }
        else { ($head, $head_line) = ('', undef) }
        push @functions, {name => name_of($scope->{head}), line => $scope->{line}, lines => $line - $scope->{line} + 1}
          if $scope->{kind} eq 'function';
      } elsif (!@scopes || $scopes[-1]{kind} ne 'value') {
        ($head, $head_line) = ('', undef);
      }
    }
  }
  # A text whose braces do not close was not understood, and is no text without long functions.
  die 'braces do not match' . ($fault ? " at line $fault" : '') . "\n" if $fault || @scopes;
  return @functions;
}

# ---- Rooms

# src/layers.txt of a tree: room -> {room it may include => 1}.
sub read_layers {
  my ($root) = @_;
  my %layers;
  my $number = 0;
  for (split /\n/, slurp("$root/src/layers.txt")) {
    ++$number;
    next if /^\s*(?:#|$)/;
    /^([\w\/]+):((?:\s+(?:[\w\/]+|\*))*)\s*$/ or die "src/layers.txt:$number: not ROOM: ROOMS\n";
    die "src/layers.txt:$number: $1 stands there twice\n" if $layers{$1};
    $layers{$1} = {$1 => 1, map { $_ => 1 } split ' ', $2};
  }
  for my $room (sort keys %layers) {
    $layers{$room} = {map { $_ => 1 } keys %layers} if delete $layers{$room}{'*'};
    for (sort keys %{$layers{$room}}) { die "src/layers.txt: $room may include $_, which is no room\n" if !$layers{$_} }
  }
  return \%layers;
}

# The room of a file, named from src/ on: the innermost folder that is one; undef where none is.
sub room_of {
  my ($layers, $path) = @_;
  while ($path =~ s{/[^/]*$}{}) { return $path if $layers->{$path} }
  return undef;
}

sub may_include {
  my ($layers, $from, $to) = @_;
  return $layers->{$from}{$to};
}

1;
