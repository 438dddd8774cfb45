# bash completion of kivctl

# Words after the jobs in front of them: jobs, fixed operands and options. What kind of operand an
# option or a job takes otherwise is in the tables below.
declare -gA _kivctl_words=(
    [kivctl]='config errors interfaces roles run script session tree daemon trees register
        deregister merge settings lock unlock --help --version'
    [kivctl config]='show apply diff --help'
    [kivctl config show]='-o --help'
    [kivctl config apply]='--help'
    [kivctl config diff]='--color --color=always --color=never --color=auto --help'
    [kivctl errors]='--markdown --json --help'
    [kivctl interfaces]='check --json --help'
    [kivctl interfaces check]='--user-vsans --type --ifindex --vsan --vsan-set --kind --operation
        --json --help'
    [kivctl roles]='predefined show add rule vsans description remove explain --help'
    [kivctl roles predefined]='--json --help'
    [kivctl roles show]='--json --help'
    [kivctl roles add]='--json --help'
    [kivctl roles rule]='--json --help permit deny clear config debug show exec none'
    [kivctl roles vsans]='--json --help all none'
    [kivctl roles description]='--json --help'
    [kivctl roles remove]='--json --help'
    [kivctl roles explain]='--json --help'
    [kivctl run]='--out --err -e -q -o --shell --peer --version --background --boot --debug --json
        --help'
    [kivctl script]='--boot --help'
    [kivctl session]='--conf --marker --deadline --xml --json --help'
    [kivctl tree]='compile merge check dump show graph stats publish zip unzip --help'
    [kivctl tree compile]='-o --output --help'
    [kivctl tree merge]='-o --output --help'
    [kivctl tree check]='--json --help'
    [kivctl tree dump]='--help'
    [kivctl tree show]='--json --grammar --help'
    [kivctl tree graph]='--svg -o --output --help'
    [kivctl tree stats]='--json --help'
    [kivctl tree publish]='-d --directory --help'
    [kivctl tree zip]='--help'
    [kivctl tree unzip]='--help'
    [kivctl daemon]='status --help'
    [kivctl daemon status]='--json --help'
    [kivctl trees]='--missing --json --help'
    [kivctl register]='--json --merge --interface --help'
    [kivctl deregister]='--json --merge --interface --help'
    [kivctl merge]='--json --help'
    [kivctl settings]='show set --json --help'
    [kivctl settings show]='--json --help'
    [kivctl settings set]='--json --help switchname session-timeout session-timeout-2 max-sessions'
    [kivctl lock]='--json --session --help'
    [kivctl unlock]='--json --session --help'
)

# The operand of an option: a file, a folder, or something that cannot be known. Options that are
# not here have none.
declare -gA _kivctl_option_operands=(
    [-o]=file [--output]=file [--out]=file [--err]=file [-d]=directory [--directory]=directory
    [--user-vsans]=text [--type]=text [--ifindex]=text [--vsan]=text [--vsan-set]=text
    [--kind]=text [--operation]=text [-e]=text [-q]=text [--shell]=text [--version]=text
    [--deadline]=text [--interface]=text [--session]=text
)

# Jobs whose operands are files, by their endings.
declare -gA _kivctl_operands=(
    [kivctl config apply]='*' [kivctl config diff]='*' [kivctl script]='*' [kivctl session]='*'
    [kivctl tree compile]='*.grammar' [kivctl tree merge]='*.par' [kivctl tree check]='*.par'
    [kivctl tree dump]='*.par' [kivctl tree show]='*.par' [kivctl tree graph]='*.par'
    [kivctl tree stats]='*.par' [kivctl tree publish]='*.par'
)

# Files with one of the endings, and the folders on the way to them.
_kivctl_files() { # pattern
    compopt -o filenames 2>/dev/null || true
    local file
    while IFS= read -r file; do
        # shellcheck disable=SC2053 # the right side is a pattern
        if [[ -d $file || ${file##*/} == $1 ]]; then
            COMPREPLY+=("$file")
        fi
    done < <(compgen -f -- "$current")
}

# Names of trees, without the ending, for the jobs that name registered trees.
_kivctl_trees() {
    local file
    for file in /ubex/etc/par/"$current"*.par; do
        [[ -e $file ]] || continue
        file=${file##*/}
        COMPREPLY+=("${file%.par}")
    done
}

_kivctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local job=kivctl word i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ $word == -- ]]; then
            # What follows is the user's own command line.
            mapfile -t COMPREPLY < <(compgen -c -- "$current")
            return
        fi
        [[ -v _kivctl_words["$job $word"] ]] || continue
        job+=" $word"
    done
    # Of bash's words, "--color=always" is three.
    if [[ $current == = || $previous == = ]]; then
        [[ $job == 'kivctl config diff' ]] || return 0
        mapfile -t COMPREPLY < <(compgen -W 'always never auto' -- "${current#=}")
        return
    fi
    # -o of run is a value for the shell, elsewhere a file.
    local operand=${_kivctl_option_operands["$previous"]-}
    [[ "$job $previous" != 'kivctl run -o' ]] || operand=text
    case $operand in
    file) _kivctl_files '*'; return ;;
    directory)
        compopt -o filenames 2>/dev/null || true
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    text) return ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "${_kivctl_words["$job"]}" -- "$current")
    [[ $current != -* ]] || return 0
    case $job in
    'kivctl register' | 'kivctl deregister') _kivctl_trees ;;
    *) [[ ! -v _kivctl_operands["$job"] ]] || _kivctl_files "${_kivctl_operands["$job"]}" ;;
    esac
}
complete -F _kivctl kivctl
