#!/usr/bin/env bash
# Sends pictures of every format, full of metadata, through the program into every format, and prints what arrived,
# judged by exiftool tag by tag. Fails if something is lost that `kalvatri formats` says is kept.
#   scripts/metadata-table.sh [PROGRAM [INPUT...]]      defaults: build/release/bin/kalvatri, all inputs; such as jpg, long
set -euo pipefail
cd "$(dirname "$0")/.."
program=${1:-build/release/bin/kalvatri}
shift $(($# > 0 ? 1 : 0))
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A photograph with all kinds of metadata. What exiftool cannot make itself, maker notes, is made here: a directory
# whose offsets count from the beginning of the EXIF block, as the best-known maker does it.
perl -e '
    my @note = map { [$_->[0], $_->[1] . "\0"] } [6, "IMG:Sample camera JPEG"], [7, "Firmware Version 1.2.3"], [9, "An owner of this camera"];
    my ($main, $exif) = (8, 8 + 2 + 12 * 3 + 4 + 16);
    my $noteAt = $exif + 2 + 12 + 4;
    my $valuesAt = $noteAt + 2 + 12 * @note + 4;
    my ($entries, $values) = ("", "");
    for (@note) {
        $entries .= pack("vvVV", $_->[0], 2, length $_->[1], $valuesAt + length $values);
        $values .= $_->[1];
    }
    my $noteBytes = pack("v", scalar @note) . $entries . pack("V", 0) . $values;
    my $block = "II*\0" . pack("V", $main) . pack("v", 3) . pack("vvVV", 0x10f, 2, 6, $exif - 16) . pack("vvVV", 0x110, 2, 8, $exif - 8)
        . pack("vvVV", 0x8769, 4, 1, $exif) . pack("V", 0) . "Canon\0\0\0" . "Sample1\0"
        . pack("v", 1) . pack("vvVV", 0x927c, 7, length $noteBytes, $noteAt) . pack("V", 0) . $noteBytes;
    print $block;' > "$work/exif.bin"
convert -size 96x64 gradient:'#204080'-'#e0c090' -define jpeg:sampling-factor=1x1 -quality 95 "$work/thumb.jpg"
convert "$work/thumb.jpg" "$work/base.jpg"
exiftool -q -overwrite_original "-EXIF<=$work/exif.bin" "$work/base.jpg"
exiftool -b -ICC_Profile samples/rocket.jpg > "$work/profile.icc"

region='{AppliedToDimensions={W=96,H=64,Unit=pixel},RegionList=[{Name=Ann,Type=Face,Area={X=0.4,Y=0.3,W=0.1,H=0.2,Unit=normalized}}]}'
tags=(-charset exif=utf8 -EXIF:Copyright='© 2024 Größe & Söhne' -EXIF:Artist='Ann Example' -EXIF:ImageDescription='A gradient'
    -EXIF:UserComment='Kommentar: Größe' -EXIF:ExposureTime=1/250 -EXIF:ISO=200 -EXIF:LensModel='50mm f/1.8'
    -EXIF:DateTimeOriginal='2024:05:01 12:00:00' -EXIF:ExifImageWidth=96 -EXIF:ExifImageHeight=64 -EXIF:ColorSpace=1
    -EXIF:InteropIndex=R98 -EXIF:XResolution=300 -EXIF:YResolution=300
    -GPS:GPSLatitude=48.4 -GPS:GPSLatitudeRef=N -GPS:GPSLongitude=10 -GPS:GPSLongitudeRef=E -GPS:GPSAltitude=478
    -XMP-xmp:Rating=4 -XMP-dc:Subject=lake -XMP-dc:Subject=Größe -XMP-dc:Title='A title' "-XMP-mwg-rs:RegionInfo=$region"
    -XMP-tiff:Orientation=6 -IPTC:CodedCharacterSet=UTF8 -IPTC:Keywords=lake -IPTC:Keywords=Größe -IPTC:City=Ulm -Comment='Grüße aus Ulm')
edit() { exiftool -q -q -m -overwrite_original "$@" || true; }  # what a format cannot hold is left out, the others must not miss it
for format in jpg png webp tif gif; do convert "$work/thumb.jpg" -strip "$work/in.$format"; done
edit -tagsfromfile "$work/base.jpg" -all:all -unsafe "-ICC_Profile<=$work/profile.icc" "$work"/in.*
# exiftool cannot put a profile into these.
for format in heic avif jxl; do "$program" apply -q -i "$work/in.png" -o "$work/in.$format" --quality 95 EmptyEffect; done
edit "${tags[@]}" "$work"/in.*
edit -EXIF:Orientation#=6 "-ThumbnailImage<=$work/thumb.jpg" "$work"/in.{jpg,png,webp,tif}  # HEIF and AVIF turn by other means

# Comments in ASCII and JIS beside that in UNICODE, XMP of more than a segment of a JPEG file holds, EXIF data in the
# other byte order.
cp "$work/in.jpg" "$work/ascii.jpg"
edit -UserComment='a plain comment' "$work/ascii.jpg"
perl -0777 -pe 's/ASCII\0\0\0a plain comment/JIS\0\0\0\0\0\$3\$a\$s\$H!!!!!!!/ or die' "$work/ascii.jpg" > "$work/jis.jpg"
cp "$work/in.jpg" "$work/long.jpg"
perl -e 'print join " ", map { "step $_ of the edit" } 1 .. 6000' > "$work/history.txt"
edit "-XMP-photoshop:History<=$work/history.txt" "$work/long.jpg"
cp "$work/in.jpg" "$work/big-endian.jpg"
edit -all= -tagsfromfile "$work/in.jpg" -all:all -unsafe -ICC_Profile -exifbyteorder=MM "$work/big-endian.jpg"

"$program" formats --json > "$work/formats.json"
cat > "$work/compare.pl" <<'PERL'
use strict;
use warnings;
use JSON::PP;
my ($work, $program, @wanted) = @ARGV;
open(my $file, '<', "$work/formats.json") or die;
my (%keeps, %isSrgb, @formats);
for my $format (@{decode_json(join '', <$file>)}) {
    next unless $format->{read} && $format->{write};
    push @formats, $format->{suffixes}[0];
    $isSrgb{$formats[-1]} = $format->{srgb};
    $keeps{$formats[-1]} = {map { $_ => 1 } @{$format->{metadata}}};
}
my @inputs = grep { my $name = $_; !@wanted || grep { $name =~ /\b$_\b/ } @wanted }
    ((map { 'in.' . $_ } @formats), 'ascii.jpg', 'jis.jpg', 'long.jpg', 'big-endian.jpg');
sub suffix { $_[0] =~ /(\w+)$/; return $1; }
my $isGood = 1;
mkdir "$work/out";
for my $input (@inputs) {
    for my $to (@formats) {
        next if system("'$program' apply -q -i '$work/$input' -o '$work/out/$input.$to' --quality 95 EmptyEffect") == 0;
        print "$input to $to: the program failed\n";
        $isGood = 0;
    }
}

# How the pixels are stored, where things lie, and what has to change.
my $structure = qr/^(ImageWidth|ImageHeight|BitsPerSample|Compression|PhotometricInterpretation|StripOffsets|SamplesPerPixel|RowsPerStrip|
    StripByteCounts|PlanarConfiguration|SampleFormat|Predictor|YCbCr\w*|ExtraSamples|FillOrder|Thumbnail\w*|XMPToolkit|
    HasExtendedXMP|PageNumber|SubfileType|MakerNoteOffset|WhitePoint|PrimaryChromaticities)$/x;
my (%tags, $name);
for (`exiftool -a -u -G1 -s -n -m @{[map { "'$work/$_'" } @inputs]} '$work/out' 2>/dev/null`) {
    $name = $1 if m{^======== \Q$work\E/(.*)};
    my ($group, $tag, $value) = /^\[(.*?)\]\s+(\S+)\s*:\s?(.*)$/ or next;
    next if $tag =~ $structure;
    my $kind = $group =~ /^XMP/ ? 'XMP' : $group eq 'IPTC' ? 'IPTC' : $group =~ /^ICC/ ? 'ICC profile'
        : $group =~ /^(IFD0|ExifIFD|GPS|InteropIFD|Canon)$/ ? 'EXIF' : $tag eq 'Comment' ? 'comment' : next;
    $group = '' if $kind eq 'comment';
    $tags{$name}{$kind}{"$group:$tag"} .= "$value;";
    if ($tag eq 'Orientation' && $name =~ /^out/ && $value != 1) {
        print "$name is not upright\n";
        $isGood = 0;
    }
}

# The picture is turned by its orientation, and the tags of its size follow.
my %isTurned = map { $_ => 1 } grep { ($tags{$_}{EXIF}{'IFD0:Orientation'} // '') eq '6;' } @inputs;
for my $exif (map { $tags{$_}{EXIF} } keys %isTurned) {
    @$exif{'ExifIFD:ExifImageWidth', 'ExifIFD:ExifImageHeight'} = @$exif{'ExifIFD:ExifImageHeight', 'ExifIFD:ExifImageWidth'};
}

# A file's colours in sRGB, as libvips reads them, without its metadata.
sub plain {
    my ($file, $plain, $turn) = @_;
    system("vips icc_transform '$file' '$plain.v' srgb --embedded 2>/dev/null || vips copy '$file' '$plain.v'") == 0
        && system("vips copy '$plain.v' '$plain' && convert '$plain' -strip $turn +repage '$plain'") == 0 or print "$file cannot be read\n";
    return $plain;
}

sub likeness {
    my ($from, $to) = @_;
    my $upright = "$work/upright.$from.png";
    plain("$work/$from", $upright, $isTurned{$from} ? '-rotate 90' : '') if !-e $upright;
    my $ratio = `compare -metric PSNR '$upright' '@{[plain("$work/$to", "$work/to.png", '')]}' null: 2>&1`;
    return 'same' if $ratio =~ /^inf/;
    return $ratio =~ /^([\d.]+)/ && $1 > 20 ? 'alike' : 'DIFFER';
}

printf "%-15s %-6s %-7s %-12s %-8s %-8s %-8s %s\n", 'from', 'to', 'pixels', my @kinds = ('ICC profile', 'EXIF', 'XMP', 'IPTC', 'comment');
for my $input (@inputs) {
    for my $to (@formats) {
        my ($before, $after) = ($tags{$input}, $tags{"out/$input.$to"});
        my (@row, @changes);
        for my $kind (@kinds) {
            my ($was, $is) = ($before->{$kind} || {}, $after->{$kind} || {});
            # Where the colours are converted to sRGB, the tag that names their space follows.
            my $moves = $isSrgb{$to} ? qr/Orientation$|^ExifIFD:ColorSpace$/ : qr/Orientation$/;
            my @changed = grep { !/$moves/ && ($is->{$_} // '') ne $was->{$_} } sort keys %$was;
            my $mustBeKept = $keeps{suffix($input)}{$kind} && $keeps{$to}{$kind};
            push @row, !%$was ? '-' : !@changed ? 'kept' : $mustBeKept ? 'CHANGED' : 'no';
            next unless $mustBeKept && @changed;
            push @changes, map { "$_: $was->{$_} -> " . ($is->{$_} // 'nothing') } @changed;
            $isGood = 0;
        }
        my $pixels = likeness($input, "out/$input.$to");
        $isGood = 0 if $pixels eq 'DIFFER';
        printf "%-15s %-6s %-7s %-12s %-8s %-8s %-8s %s\n", $input, $to, $pixels, @row;
        print map { '    ' . substr($_, 0, 200) . "\n" } @changes;
    }
}
exit($isGood ? 0 : 1);
PERL
perl "$work/compare.pl" "$work" "$program" "$@"
