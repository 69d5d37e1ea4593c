#!/usr/bin/perl
# Reads stamped messages by MIME::Tools, as a second opinion beside Python's.
#
#     second_reader.pl STAMP BEFORE AFTER < NAMES
#
# Of each file named, in the folders BEFORE and AFTER: whether every text alternative of the body that could be read
# before shows the stamp exactly once, and otherwise what it showed. Prints a line "NAME: what is wrong" for each that
# does not, and a last one with the number of messages and alternatives.
use strict;
use warnings;
use Encode qw(decode encode FB_CROAK);
use MIME::Parser;

my ($stamp, $before, $after) = @ARGV;
$stamp = squeezed(decode('UTF-8', $stamp));

sub squeezed {
    my ($text) = @_;
    $text =~ s/[\s\x{A0}]+//g;
    return $text;
}

sub parsed {
    my ($path) = @_;
    my $parser = MIME::Parser->new;
    $parser->output_to_core(1);
    $parser->tmp_to_core(1);
    $parser->extract_nested_messages(0);
    open(my $file, '<:raw', $path) or die "$path: $!\n";
    return eval { $parser->parse($file) };
}

# The text parts of the body: every alternative; of a related part the root; else the first that has some.
sub bodies {
    my ($part) = @_;
    my $type = lc $part->effective_type;
    return $type =~ m{^text/(plain|html)$} ? ($part) : () unless $part->is_multipart;
    return () if $type eq 'multipart/digest';
    my @parts = grep { lc($_->head->mime_attr('content-disposition') // '') ne 'attachment' } $part->parts;
    return map { bodies($_) } @parts if $type eq 'multipart/alternative';
    if ($type eq 'multipart/related') {
        my $start = $part->head->mime_attr('content-type.start') // '';
        my @named = grep { $start ne '' && ($_->head->get('Content-ID') // '') =~ /^\s*\Q$start\E\s*$/ } @parts;
        @parts = @named ? ($named[0]) : @parts[0 .. ($#parts < 0 ? -1 : 0)];
    }
    for my $one (@parts) {
        my @found = bodies($one);
        return @found if @found;
    }
    return ();
}

# The text of a part without blanks; undef when Perl cannot read it.
sub text_of {
    my ($part) = @_;
    my $charset = $part->head->mime_attr('content-type.charset') // 'us-ascii';
    my $bytes = $part->bodyhandle->as_string;
    my $text = eval { decode($charset, $bytes, FB_CROAK) };
    return undef unless defined $text;
    if (lc $part->effective_type eq 'text/html') {
        $text =~ s/<!--.*?-->//gs;
        $text =~ s{<(script|style)\b.*?</\1\s*>}{}gis;
        $text =~ s/<[^>]*>//g;
        $text =~ s/&#x([0-9a-f]+);/chr hex $1/gei;
        $text =~ s/&#([0-9]+);/chr $1/ge;
        my %named = (lt => '<', gt => '>', quot => '"', amp => '&');
        $text =~ s/&(lt|gt|quot|amp);/$named{$1}/g;
    }
    return squeezed($text);
}

my ($messages, $alternatives) = (0, 0);
while (my $name = <STDIN>) {
    chomp $name;
    my ($old, $new) = (parsed("$before/$name"), parsed("$after/$name"));
    next unless $old;
    my @was = bodies($old);
    next unless @was;
    my @now = $new ? bodies($new) : ();
    ++$messages;
    if (@was != @now) {
        print "$name: ", scalar(@was), ' alternatives became ', scalar(@now), "\n";
        next;
    }
    for my $at (0 .. $#was) {
        my $read = text_of($was[$at]);
        next unless defined $read;
        ++$alternatives;
        my $shown = text_of($now[$at]) // '';
        my $count = () = $shown =~ /\Q$stamp\E/g;
        $shown =~ s/\Q$stamp\E//;
        if ($count != 1 || $shown ne $read) {
            print "$name: ", $was[$at]->effective_type, ": stamp $count times, or another text\n";
        }
    }
}
print "$messages messages, $alternatives alternatives\n";
