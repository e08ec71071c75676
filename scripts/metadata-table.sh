#!/usr/bin/env bash
# Sends pictures of every format, full of metadata, through the program into every format, and prints what arrived, judged by exiftool tag by
# tag. Fails if something is lost that `kalvatri formats` says is kept.
#   scripts/metadata-table.sh [PROGRAM]      build/release/bin/kalvatri if not given
set -euo pipefail
cd "$(dirname "$0")/.."
program=${1:-build/release/bin/kalvatri}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A photograph with all kinds of metadata. What exiftool cannot make itself, maker notes, is made here: a directory whose offsets count from
# the beginning of the EXIF block, as the best-known maker does it.
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
profile=$(find /usr/share/color /usr/share/ghostscript -iname '*srgb*.icc' 2>/dev/null | head -1)

comments=("a plain comment" "Kommentar: Größe" "コメント")
region='{AppliedToDimensions={W=96,H=64,Unit=pixel},RegionList=[{Name=Ann,Type=Face,Area={X=0.4,Y=0.3,W=0.1,H=0.2,Unit=normalized}}]}'
tags=(-charset exif=utf8 -EXIF:Copyright='© 2024 Größe & Söhne' -EXIF:Artist='Ann Example' -EXIF:ImageDescription='A gradient'
    -EXIF:ExposureTime=1/250 -EXIF:ISO=200 -EXIF:LensModel='50mm f/1.8' -EXIF:DateTimeOriginal='2024:05:01 12:00:00'
    -EXIF:ExifImageWidth=96 -EXIF:ExifImageHeight=64 -EXIF:ColorSpace=1 -EXIF:InteropIndex=R98
    -EXIF:XResolution=300 -EXIF:YResolution=300
    -GPS:GPSLatitude=48.4 -GPS:GPSLatitudeRef=N -GPS:GPSLongitude=10 -GPS:GPSLongitudeRef=E -GPS:GPSAltitude=478
    -XMP-xmp:Rating=4 -XMP-dc:Subject=lake -XMP-dc:Subject=Größe -XMP-dc:Title='A title' "-XMP-mwg-rs:RegionInfo=$region"
    -XMP-tiff:Orientation=6 -IPTC:CodedCharacterSet=UTF8 -IPTC:Keywords=lake -IPTC:Keywords=Größe -IPTC:City=Ulm -Comment='Grüße aus Ulm')
for format in jpg png webp tif heic avif gif; do
    input="$work/in.$format"
    convert "$work/thumb.jpg" -strip "$input"
    exiftool -q -q -m -overwrite_original -tagsfromfile "$work/base.jpg" -all:all -unsafe "$input" || true
    [ -z "$profile" ] || exiftool -q -q -m -overwrite_original "-ICC_Profile<=$profile" "$input" || true
    exiftool -q -q -m -overwrite_original "${tags[@]}" -EXIF:UserComment="${comments[1]}" "$input" || true
    case $format in heic | avif) ;; *) exiftool -q -q -m -overwrite_original -EXIF:Orientation#=6 "-ThumbnailImage<=$work/thumb.jpg" "$input" || true ;; esac
done

# Three encodings of a comment (ASCII, UNICODE, JIS), XMP of more than a segment of a JPEG file holds, an EXIF block in the other byte order.
cp "$work/in.jpg" "$work/ascii.jpg" && exiftool -q -overwrite_original -UserComment="${comments[0]}" "$work/ascii.jpg"
cp "$work/in.jpg" "$work/jis.jpg"
exiftool -q -overwrite_original -UserComment="${comments[0]}" "$work/jis.jpg"
perl -0777 -pi -e 's/ASCII\0\0\0a plain comment/JIS\0\0\0\0\0\$3\$a\$s\$H!!!!!!!/' "$work/jis.jpg"
cp "$work/in.jpg" "$work/long.jpg"
perl -e 'print join " ", map { "step $_ of the edit" } 1 .. 6000' > "$work/history.txt"
exiftool -q -overwrite_original "-XMP-photoshop:History<=$work/history.txt" "$work/long.jpg"
cp "$work/in.jpg" "$work/big-endian.jpg"
exiftool -q -overwrite_original -all= -tagsfromfile "$work/in.jpg" -all:all -unsafe -exifbyteorder=MM "$work/big-endian.jpg"

"$program" formats --json > "$work/formats.json"
cat > "$work/compare.pl" <<'PERL'
use strict;
use JSON::PP;
my ($work, $program, $formatsFile) = @ARGV;
open(my $file, '<', $formatsFile) or die;
my %keeps;
for my $format (@{decode_json(join '', <$file>)}) {
    $keeps{$_} = {map { $_ => 1 } @{$format->{metadata}}, $format->{write} ? 'written' : ()} for @{$format->{suffixes}};
}
# How the pixels are stored, where things lie, and what is to change.
my $structure = qr/^(ImageWidth|ImageHeight|BitsPerSample|Compression|PhotometricInterpretation|StripOffsets|SamplesPerPixel|RowsPerStrip|
    StripByteCounts|PlanarConfiguration|SampleFormat|Predictor|YCbCr\w*|ExtraSamples|FillOrder|Thumbnail\w*|Orientation|XMPToolkit|
    HasExtendedXMP|PageNumber|SubfileType|MakerNoteOffset|WhitePoint|PrimaryChromaticities)$/x;
sub tags {
    my %kinds;
    for (`exiftool -a -u -G1 -s -n -m '$_[0]' 2>/dev/null`) {
        my ($group, $tag, $value) = /^\[(.*?)\]\s+(\S+)\s*:\s?(.*)$/ or next;
        next if $tag =~ $structure;
        my $kind = $group =~ /^XMP/ ? 'XMP' : $group eq 'IPTC' ? 'IPTC' : $group =~ /^(IFD0|ExifIFD|GPS|InteropIFD|Canon)$/ ? 'EXIF'
            : $tag eq 'Comment' ? 'comment' : next;
        # The judge cuts values that it shows, and words a structure's parts by their place.
        $group = '' if $kind eq 'comment';
        $kinds{$kind}{"$group:$tag"} .= "$value;";
    }
    my $profile = `exiftool -b -m -ICC_Profile '$_[0]' 2>/dev/null`;
    $kinds{'ICC profile'}{profile} = unpack('%32C*', $profile) . ' ' . length $profile if $profile ne '';
    return \%kinds;
}
my $isGood = 1;
printf "%-16s %-6s %-8s %-12s %-6s %-6s %-6s %-8s\n", 'from', 'to', 'pixels', 'ICC profile', 'EXIF', 'XMP', 'IPTC', 'comment';
for my $input (map { "in.$_" } qw(jpg png webp tif heic avif gif)), 'ascii.jpg', 'jis.jpg', 'long.jpg', 'big-endian.jpg') {
    my ($from) = $input =~ /\.(\w+)$/;
    next unless $keeps{$from}{written};
    my $before = tags("$work/$input");
    for my $to (qw(jpg png webp tif heic avif gif)) {
        next unless $keeps{$to}{written};
        my $output = "$work/out.$to";
        unlink $output;
        if (system("'$program' apply -q -i '$work/$input' -o '$output' --quality 95 EmptyEffect") != 0) {
            print "$input to $to: the program failed\n";
            $isGood = 0;
            next;
        }
        my $after = tags($output);
        my $psnr = `compare -metric PSNR '$work/$input'[0] -auto-orient '$output' null: 2>&1`;
        my $pixels = $psnr =~ /^(inf|1\.#INF)/ ? 'same' : $psnr =~ /^([\d.]+)/ && $1 > 30 ? 'alike' : 'DIFFER';
        my (@row, @changes);
        for my $kind ('ICC profile', 'EXIF', 'XMP', 'IPTC', 'comment') {
            my ($was, $is) = ($before->{$kind} || {}, $after->{$kind} || {});
            my @changed = grep { !exists $is->{$_} || $is->{$_} ne $was->{$_} } sort keys %$was;
            my $mustBeKept = $keeps{$from}{$kind} && $keeps{$to}{$kind};
            my $isKept = !@changed;
            push @row, !%$was ? '-' : $isKept ? 'kept' : !%$is ? 'no' : 'CHANGED';
            push @changes, map { "$_: $was->{$_} -> " . ($is->{$_} // 'nothing') } @changed if $mustBeKept || (%$is && @changed);
            $isGood = 0 if $mustBeKept && !$isKept;
        }
        $isGood = 0 if $pixels eq 'DIFFER';
        printf "%-16s %-6s %-8s %-12s %-6s %-6s %-6s %-8s\n", $input, $to, $pixels, @row;
        print map { "    " . substr($_, 0, 200) . "\n" } @changes;
    }
}
exit($isGood ? 0 : 1);
PERL
perl "$work/compare.pl" "$work" "$program" "$work/formats.json"
