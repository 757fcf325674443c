#!/usr/bin/perl
# What Doxygen reads of a header, where one comment is for several declarations: of a group (@name ... @{ ... @}), of a
# record (struct, class, enum: its data; with --classes its enums, constructors and all that takes one line), or of lines that
# follow each other. All else that has no comment stays so, and Doxygen complains.
use strict;
use warnings;

my $classes = @ARGV && $ARGV[0] eq '--classes' && shift;

my ($group, $block, $behind, $before) = (0, 0, 0, '');
my @records; # of each open brace: whether it is that of a record with a comment
while (my $line = <>) {
    $line =~ s{^(\s*/\*\* \@name .*?) \@\{}{$1\n * \@\{}; # Doxygen takes the rest of the line as the name
    my $own = $line =~ m{/\*\*|^\s*\*} || $before =~ m{\*/\s*$} && $before !~ m{/\*\*<};
    $group = 1 if $line =~ /\@\{/;
    $group = 0 if $line =~ /\@\}/;
    $block = 0 if $line !~ /\S/;
    my $code = $line =~ s{/\*.*?\*/|//.*}{}gr;
    my $declaration = $code =~ /^\s*(?:#define \w|\w.*;\s*$)|^\s+\w.*\{.*\}\s*$/ && $code !~ /^\s*(?:return|using namespace|friend|public|private)\b/;
    my $datum = ($classes || $code !~ /\((?!\*)/) && ($declaration || $code =~ /^\s+\w+(?: = [^,;()]+)?,?\s*$/);
    if ($declaration && $own) {
        $block = 1;
    } elsif (!$own) {
        my $as = $declaration && $group ? 'group' : $declaration && $block ? 'comment above' : $datum && @records && $records[-1] ? 'record' : '';
        $line =~ s{\s*$}{ /**< As its $as says. */\n} if $as;
        $line =~ s{^(\s+)(?=enum\b|(?:explicit |constexpr )*[A-Z]\w*\(.*\)\s*(?://.*)?$)}{$1/** As its record says. */ } if $classes && @records && $records[-1];
    }
    my $record = $code =~ /\b(?:struct|class|enum|union)\b/ && $own;
    for my $brace ($code =~ /[{}]/g) {
        if ($brace eq '{') { push @records, $record } else { pop @records }
    }
    print $line;
    $behind = 1 if $line =~ m{/\*\*<(?!.*\*/)}; # a comment behind its declaration, of several lines
    $before = $behind ? '' : $line if $line =~ /\S/ && $line !~ /^\s*#\s*(?:if|el|endif)/;
    $behind = 0 if $line =~ m{\*/};
}
