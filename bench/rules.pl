# perl's way with a list: a hash, and one alternation of what it has, the longest first. The engine's search for
# where a large one may begin passes over some matches ("compatriot" with "patriot" and "at" among a thousand); AHEAD
# has it try each place instead.
BEGIN {
    ${^RE_TRIE_MAXBUF} = 1 << 30 if $ENV{TRIE};
    open my $list, '<', $ENV{LIST} or die;
    while (<$list>) { chomp; my ($find, $put) = split /\t/; $put{$find} = $put; }
    $any = join '|', map { quotemeta } sort { length $b <=> length $a } keys %put;
    $any = $ENV{AHEAD} ? qr/(?=.)($any)/ : qr/($any)/;
}
s/$any/$put{$1}/g;
