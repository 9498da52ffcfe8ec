# fish completion for qvane.
# A new command needs a line in the first block and its options below (and in qvane.bash and _qvane).

set -l commands info dump convert new ls generate import export show add edit rm clip passwd categories report merge
set -l columns category name account userID password pin security url email createdDate modificationDate usageCount

complete -c qvane -f
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -s h -l help -d 'Show the usage and exit'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -s V -l version -d 'Show the release and exit'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a info -d "Show a document's generation and format"
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a dump -d 'Print the whole document as JSON'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a convert -d 'Save a document in the current format to another file'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a new -d 'Make a new empty document'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a ls -d 'List the records as the window shows them'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a generate -d 'Make passwords'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a import -d 'Add the rows of a text file as records'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a export -d 'Write records to a text file'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a show -d 'Every field of one record'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a add -d 'Add a record'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a edit -d 'Change fields of one record'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a rm -d 'Delete one record'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a clip -d 'Copy one value of a record to the clipboard for a while'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a passwd -d 'Change the master password'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a categories -d 'List, add, rename or remove categories'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a report -d 'Weak, reused and old passwords'
complete -c qvane -n "not __fish_seen_subcommand_from $commands" -a merge -d 'Bring the records of another version of a document in'

# Documents and text files, for every command but generate.
complete -c qvane -n "__fish_seen_subcommand_from info dump convert new ls import export show add edit rm clip passwd categories report merge" -F

complete -c qvane -n "__fish_seen_subcommand_from dump convert new ls import export show add edit rm clip passwd categories report merge" -l password-stdin -d 'Read the master password as one line of standard input'
complete -c qvane -n "__fish_seen_subcommand_from convert" -l new-password-stdin -d 'Read the new master password as the next line of standard input'

complete -c qvane -n "__fish_seen_subcommand_from ls export add edit" -l category -x -d 'Only the records of this category'
complete -c qvane -n "__fish_seen_subcommand_from ls export" -l search -x -d 'Only the records this search shows'
complete -c qvane -n "__fish_seen_subcommand_from ls" -l sort -x -a "$columns" -d 'Sort by a column'
complete -c qvane -n "__fish_seen_subcommand_from ls" -l descending -d 'Sort in descending order'
complete -c qvane -n "__fish_seen_subcommand_from ls" -l columns -x -a "(__fish_append , $columns)" -d 'The columns to show'
complete -c qvane -n "__fish_seen_subcommand_from ls show" -l show-secrets -d 'Show passwords, PINs and security answers in clear'
complete -c qvane -n "__fish_seen_subcommand_from ls" -l json -d 'Print the records as dump does'

complete -c qvane -n "__fish_seen_subcommand_from generate add edit" -l type -x -a '10 11 20 21 22 30 40 41 42 52 60 61 letters lower alphanumeric lower-digits upper-digits digits all lower-symbols upper-symbols hex readable readable-upper' -d 'The kind of password'
complete -c qvane -n "__fish_seen_subcommand_from ls" -l table -d 'Print an aligned table'
complete -c qvane -n "__fish_seen_subcommand_from ls" -l tsv -d 'Print tab-separated values'
complete -c qvane -n "__fish_seen_subcommand_from generate" -l json -d 'Print the passwords and their rating as JSON'
complete -c qvane -n "__fish_seen_subcommand_from generate add edit" -l length -x -d 'The length, 5 to 42'
complete -c qvane -n "__fish_seen_subcommand_from generate" -l count -x -d 'How many passwords'

complete -c qvane -n "__fish_seen_subcommand_from import" -l format -x -a '0 1 2 3' -d '0 automatic, 1 tab, 2 comma, 3 semicolon'
complete -c qvane -n "__fish_seen_subcommand_from import" -l encoding -x -a '0 1 10 11 12 20 21 22 30 50' -d "The text file's encoding code"
complete -c qvane -n "__fish_seen_subcommand_from import" -l map -x -a 'cascade header' -d 'Which column goes to which field'
complete -c qvane -n "__fish_seen_subcommand_from import" -l skip-first -d 'Do not import the first row'

complete -c qvane -n "__fish_seen_subcommand_from export" -l format -x -a '0 1 2 3 4 5 custom tsv quoted-csv table html plain-csv keepass-csv bitwarden-json csv' -d '0 custom, 1 tab, 2 quoted comma, 3 table, 4 web page, 5 comma, or another manager'\''s'
complete -c qvane -n "__fish_seen_subcommand_from export" -s o -r -F -d 'The file to write'
complete -c qvane -n "__fish_seen_subcommand_from export" -l fields -x -d 'The field titles to write, separated by commas'
complete -c qvane -n "__fish_seen_subcommand_from export" -l header -d 'Write the field titles as the first row'
complete -c qvane -n "__fish_seen_subcommand_from export" -l preset -x -a '1 2 3 4 5 tsv quoted-csv table html plain-csv' -d 'Start format 0 from a preset'
complete -c qvane -n "__fish_seen_subcommand_from export" -l tags -x -d 'The tags of format 0, KEY=VALUE,...'
complete -c qvane -n "__fish_seen_subcommand_from import" -l from -x -a 'auto keepass-xml keepass-csv kdbx bitwarden-json bitwarden-csv chrome-csv firefox-csv csv' -d "Read another password manager's file"

complete -c qvane -n "__fish_seen_subcommand_from report" -l json -d 'Print the four lists as JSON'
complete -c qvane -n "__fish_seen_subcommand_from report" -l older-than -x -d 'What counts as old, in days'

complete -c qvane -n "__fish_seen_subcommand_from merge" -s o -r -F -d 'Write the result there instead of the first document'
complete -c qvane -n "__fish_seen_subcommand_from merge" -l dry-run -d 'Only report what a merge would do'
complete -c qvane -n "__fish_seen_subcommand_from merge" -l json -d 'Print the report as JSON'

complete -c qvane -n "__fish_seen_subcommand_from show edit rm clip" -l index -x -d 'The record at this position, from 0'
complete -c qvane -n "__fish_seen_subcommand_from add edit rm clip passwd categories" -l convert -d 'Save a document of an older generation in the current format'
complete -c qvane -n "__fish_seen_subcommand_from show categories" -l json -d 'Print as JSON'
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l account -x -d 'The account'
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l user -x -d 'The user ID'
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l url -x -d 'The URL'
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l email -x -d 'The e-mail address'
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l note -x -d 'The note'
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l pin -x -d 'The PIN'
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l security -x -d 'The security answer'
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l password-prompt -d "Ask the record's password twice"
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l generate -d "Make the record's password"
complete -c qvane -n "__fish_seen_subcommand_from add edit" -l print -d 'Print the password made'
complete -c qvane -n "__fish_seen_subcommand_from edit" -l rename -x -d "The record's new name"
complete -c qvane -n "__fish_seen_subcommand_from rm" -l yes -d 'Do not ask'
complete -c qvane -n "__fish_seen_subcommand_from clip" -l field -x -a 'password userID account pin security url email note' -d 'The value to copy'
complete -c qvane -n "__fish_seen_subcommand_from clip" -l seconds -x -d 'Clear the clipboard after this many seconds, 0 never'
complete -c qvane -n "__fish_seen_subcommand_from categories" -l add -x -d 'Add a category'
complete -c qvane -n "__fish_seen_subcommand_from categories" -l color -x -d "The new category's colour, #RRGGBB"
complete -c qvane -n "__fish_seen_subcommand_from categories" -l rename -x -d 'Rename a category: OLD NEW'
complete -c qvane -n "__fish_seen_subcommand_from categories" -l remove -x -d 'Remove a category'
