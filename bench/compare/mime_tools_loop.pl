#!/usr/bin/perl
# The jobs of the comparison by Perl's MIME::Tools: one process, one message after the other.
#
#     mime_tools_loop.pl stamp|strip files|core MAIL OUT
#
# As an administrator's script would be: messages that are signed or encrypted get the field only, a disclaimer goes
# in front of the end of an HTML body, and a message that cannot be parsed is copied. Bodies are kept in files in the
# current folder, which is what MIME::Parser does unless told otherwise, or in memory.
use strict;
use warnings;
use File::Basename qw(basename dirname);
use MIME::Parser;

my ($job, $bodies, $mail, $out) = @ARGV;
my $text = slurp(dirname($0) . '/disclaimer.txt');
my $html = slurp(dirname($0) . '/disclaimer.html');

sub slurp {
    my ($path) = @_;
    open(my $file, '<:raw', $path) or die "$path: $!\n";
    local $/;
    return scalar <$file>;
}

sub is_attachment {
    my ($part) = @_;
    my $disposition = lc($part->head->mime_attr('content-disposition') // '');
    return $disposition eq 'attachment' || defined $part->head->recommended_filename
        || $part->effective_type eq 'message/rfc822';
}

sub is_protected {
    my ($part, $bytes) = @_;
    return 1 if $bytes && $$bytes =~ /^-----BEGIN PGP (SIGNED )?MESSAGE/m;
    return 1 if $part->effective_type =~ m{^(multipart/(signed|encrypted)|application/((x-)?pkcs7-mime|.*ms-tnef))$}i;
    return grep { is_protected($_) } $part->parts;
}

# The text parts of the body: every alternative, of a related part the root, else the first that has some.
sub bodies {
    my ($part) = @_;
    my $type = lc $part->effective_type;
    return $type =~ m{^text/(plain|html)$} ? ($part) : () unless $part->is_multipart;
    my @parts = grep { lc($_->head->mime_attr('content-disposition') // '') ne 'attachment' } $part->parts;
    return map { bodies($_) } @parts if $type eq 'multipart/alternative';
    @parts = @parts[0 .. 0] if $type eq 'multipart/related' && @parts;
    for my $one (@parts) {
        my @found = bodies($one);
        return @found if @found;
    }
    return ();
}

sub put_into {
    my ($part) = @_;
    my $content = $part->bodyhandle->as_string;
    if (lc $part->effective_type eq 'text/html') {
        $content =~ s{(?=</body>(?!.*</body>))}{$html}is or $content =~ s{(?=</html>)}{$html}i or $content .= $html;
    } else {
        $content .= "\n" if length $content && $content !~ /\n\z/;
        $content .= $text;
    }
    my $handle = $part->bodyhandle->open('w');
    $handle->print($content);
    $handle->close;
}

sub stamp {
    my ($message, $bytes) = @_;
    $message->head->add('X-Scanned', 'yes');
    return if is_protected($message, $bytes);
    my $subject = $message->head->get('Subject', 0) // '';
    $message->head->replace('Subject', "[checked] $subject");
    put_into($_) for bodies($message);
}

sub strip {
    my ($part) = @_;
    return unless $part->is_multipart;
    my @kept = grep { !is_attachment($_) } $part->parts;
    strip($_) for @kept;
    $part->parts(\@kept);
}

mkdir $out or die "$out: $!\n";
for my $path (glob "\Q$mail\E/*") {
    my $bytes = slurp($path);
    my $parser = MIME::Parser->new;
    if ($bodies eq 'core') {
        $parser->output_to_core(1);
        $parser->tmp_to_core(1);
    }
    $parser->extract_nested_messages(0);
    my $message = eval { $parser->parse_data(\$bytes) };
    open(my $file, '>:raw', "$out/" . basename($path)) or die "$out: $!\n";
    if ($message) {
        $job eq 'stamp' ? stamp($message, \$bytes) : strip($message);
        $message->print($file);
    } else {
        print $file $bytes;
    }
    close $file or die "$out: $!\n";
    $parser->filer->purge;
}
