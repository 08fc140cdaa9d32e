# The simulated card's command line: what is wrong with it is said in two lines that name the word, with status 2.

# refused SENTENCE [WORD...]
refused() {
    local sentence=$1 result=0
    shift
    haldo-cardsim "$@" >"$output" 2>&1 || result=$?
    expect_equal 2 "$result"
    expect_file "$output" <<END
haldo-cardsim: $sentence
Try 'haldo-cardsim --help'.
END
}

refused "'--journal' needs a value" --journal
refused "'--jurnal' is not an option" --jurnal "$journal"
refused "'more' is one word too many" --journal "$journal" more
refused "--readable-map: '0x1ffffffff' is not a number of 32 bits" --readable-map 0x1ffffffff
refused "--command-map: 'all' is not a number of 32 bits" --command-map all
refused "--fail: '0x1' is not the code of a request" --fail 0x1
refused "--fail: 'EWHAT' is not an errno" --fail 0x7801=EWHAT
refused "--session: '' has no length between 1 and 35" --session ''
refused "--session: 'a' is followed by a blank or a control character" --session $'a\nb'
refused "--fail: 'ENOSYS' cannot reach a client" --fail 0x7801=ENOSYS
refused "--control: '' has no length between 1 and 107" --control ''
refused "--context: 'hoip_enable' is not FIELD=N" --context hoip_enable
refused "--context: 'hoip' is not a field of the context" --context hoip=1
refused "--context: 'reserved' is not a field of the context" --context reserved=1
refused "--context: '' is not a number of 8 bits" --context hoip_enable=
refused "--context: '256' is not a number of 8 bits" --context hoip_enable=256
refused "--context: '0x10000' is not a number of 16 bits" --context cur_shape_caches=0x10000
refused "--context: '4294967296' is not a number of 32 bits" --context cur_shape_cache_size=4294967296
long=$(printf '%036d' 0)
refused "--session: '$long' has no length between 1 and 35" --session "$long"

refused "--profile: 'fuller' is not a profile; a file's name has a '/'" --profile fuller
refused "--profile: './fuller' cannot be read" --profile ./fuller
refused "--seed: 'x' is not a number of 32 bits" --seed x
refused "the program to run is missing" run --seed 2 --
refused "'--jurnal' is not an option" run --jurnal "$journal" true

expect_equal "haldo-cardsim $version" "$(haldo-cardsim --version)"
for asked in --help --version 'ctl --help'; do
    result=0
    # shellcheck disable=SC2086
    haldo-cardsim $asked >/dev/full 2>"$output" || result=$?
    expect_equal 1 "$result"
    expect_file "$output" <<<'haldo-cardsim: standard output: No space left on device'
done
haldo-cardsim --help >"$output"
wait_line "$output" 'Usage: haldo-cardsim run \[OPTION\]... *'
wait_line "$output" ' *haldo-cardsim \[OPTION\]...'

# The manual has every option and command, and no other.
manual=$(dirname "${BASH_SOURCE[0]}")/../../../man/haldo-cardsim.1
expect_equal "$(sed -n 's/^  --\([a-z-]*\).*/\1/p' "$output" | sort)" \
    "$(sed -n 's/^\.BI\{0,1\} \\-\\-\([a-z\\-]*\).*/\1/p' "$manual" | sed 's,\\-,-,g' | sort)"
haldo-cardsim ctl --help >"$output"
expect_equal "$(sed -n 's/^  \([a-z]*\) .*/\1/p' "$output" | sort)" \
    "$(sed -n '/^\.SH COMMANDS/,/^\.SH PROFILES/s/^\.BI\{0,1\} \([a-z]*\).*/\1/p' "$manual" | sort)"
wait_line "$output" '  connect *'
