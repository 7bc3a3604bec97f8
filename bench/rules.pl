# perl's way with a list: a hash, and one alternation of what it has, the longest first.
BEGIN {
    ${^RE_TRIE_MAXBUF} = 1 << 30 if $ENV{TRIE};
    open my $list, '<', $ENV{LIST} or die;
    while (<$list>) { chomp; my ($find, $put) = split /\t/; $put{$find} = $put; }
    $any = join '|', map { quotemeta } sort { length $b <=> length $a } keys %put;
    $any = qr/($any)/;
}
s/$any/$put{$1}/g;
