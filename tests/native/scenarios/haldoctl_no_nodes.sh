# haldoctl without device nodes: status 4.
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

base64 -d >"$here/small.png" <<<iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAYAAABytg0kAAAAFUlEQVR42mNgYPjP8B8IgBSIxdAAAE1FCHmykEBGAAAAAElFTkSuQmCC
cd "$here" || exit
for command in "${card_commands[@]}"; do
    absent '/dev/haldo_host0: No such file or directory' "$command"
done
golden no_node 4 capabilities
