# Completion of nerio for fish.

# The words of the command line before the one that is completed, options left out.
function __nerio_words
    set -l words (commandline -opc)
    string match -v -- '-*' $words[2..-1]
end

# Whether the line names this group so far and no verb of it; without a name, the program itself.
function __nerio_group
    set -l words (__nerio_words)
    test "$words" = "$argv"
end

# Whether the line names this verb.
function __nerio_verb
    set -l words (__nerio_words)
    set -l last (count $argv)
    test (count $words) -ge $last; and test "$words[1..$last]" = "$argv"
end

# The names below a key as the program lists them: those of keys or those of values.
function __nerio_names
    for line in (nerio reg list -- $argv[1] 2>/dev/null)
        set -l fields (string split \t -- $line)
        if test $argv[2] = keys
            test (count $fields) = 1; and string match -rq '\\\\$' -- $line; and string replace -r '\\\\$' '' -- $line
        else
            test (count $fields) -gt 1; and test "$fields[1]" != @; and echo $fields[1]
        end
    end
end

# A key: its root, then level by level.
function __nerio_keys
    set -l word (string unescape -- (commandline -ct))
    set -l separator \\
    set -l levels (string split -- \\ "$word")
    if test (count $levels) -lt 2
        set separator /
        set levels (string split -- / "$word")
    end
    if test (count $levels) -lt 2
        printf '%s\n' HKLM HKCU HKCR HKU HKCC
        return
    end
    set -l upper (string join -- $separator $levels[1..-2])
    for name in (__nerio_names $upper keys)
        echo $upper$separator$name
    end
end

# Whether the verb has so many arguments before the one that is completed.
function __nerio_arguments
    set -l words (__nerio_words)
    test (count $words) = (math $argv[1] + 2); and test "$words[1]" = reg; and contains -- "$words[2]" $argv[2..-1]
end

# The names of the values of the key that was given.
function __nerio_values
    set -l words (__nerio_words)
    __nerio_names $words[3] values
end

complete -c nerio -f
complete -c nerio -n '__nerio_arguments 0 get test list tree export set create delete copy rename watch repair' -a '(__nerio_keys)' -d Key
complete -c nerio -n '__nerio_arguments 1 get test set delete' -a '(__nerio_values)' -d Value
complete -c nerio -s h -l help -d 'Print the help and exit'
complete -c nerio -l json -d 'Give the result as one JSON object on one line'
complete -c nerio -l view -d 'Tell which view of the registry is shown, and exit'

complete -c nerio -n '__nerio_group' -s V -l version -d 'Print the version and exit'
complete -c nerio -n '__nerio_group' -a reg -d 'Read, write, export and import the registry'
complete -c nerio -n '__nerio_group' -a trace -d 'Switch the trace log on and off, and read it'
complete -c nerio -n '__nerio_group' -a guid -d 'Make new GUIDs'
complete -c nerio -n '__nerio_group' -a date -d 'Check dates'
complete -c nerio -n '__nerio_group' -a msg -d 'Show the message of an error code'
complete -c nerio -n '__nerio_group' -a template -d 'Fill the numbered placeholders of a template'
complete -c nerio -n '__nerio_group' -a base64 -d 'Turn text into Base64 and back'
complete -c nerio -n '__nerio_group' -a xml -d 'Check, make and change XML files'
complete -c nerio -n '__nerio_group' -a doctor -d 'Examine everything'
complete -c nerio -n '__nerio_group' -a help -d 'Print the help of a verb'

complete -c nerio -n '__nerio_group reg' -a get -d 'Print a value'
complete -c nerio -n '__nerio_group reg' -a test -d 'Tell whether a key or a value is there'
complete -c nerio -n '__nerio_group reg' -a list -d 'List the values of a key and the keys directly below it'
complete -c nerio -n '__nerio_group reg' -a tree -d 'Show all keys below a key'
complete -c nerio -n '__nerio_group reg' -a find -d 'Find a text in names and data'
complete -c nerio -n '__nerio_group reg' -a diff -d 'Compare two keys or .reg files'
complete -c nerio -n '__nerio_group reg' -a export -d 'Write a key and everything below it as a .reg file'
complete -c nerio -n '__nerio_group reg' -a set -d 'Store a text and make the keys that are missing'
complete -c nerio -n '__nerio_group reg' -a create -d 'Make a key and the keys above it that are missing'
complete -c nerio -n '__nerio_group reg' -a delete -d 'Delete a value, or a key with its values'
complete -c nerio -n '__nerio_group reg' -a copy -d 'Copy a key to one that is not there yet'
complete -c nerio -n '__nerio_group reg' -a rename -d 'Give a key another name'
complete -c nerio -n '__nerio_group reg' -a import -d 'Apply a .reg file, all of it or nothing'
complete -c nerio -n '__nerio_group reg' -a watch -d 'Show what comes, goes and changes'
complete -c nerio -n '__nerio_group reg' -a repair -d 'Bring back what can be read of a damaged key'
complete -c nerio -n '__nerio_group reg' -a init -d 'Make the registry of the machine for the members of a group'
complete -c nerio -n '__nerio_group reg' -a doctor -d 'Check the files of the registry'
complete -c nerio -n '__nerio_verb reg get' -l default -x -d 'Print this when the value or its key is missing'
complete -c nerio -n '__nerio_verb reg get' -l type -d 'Print its type and not its data'
complete -c nerio -n '__nerio_verb reg tree' -l values -d 'Show their values too'
complete -c nerio -n '__nerio_verb reg tree' -l depth -x -d 'How many levels'
complete -c nerio -n '__nerio_verb reg find' -l names -d 'Look in the names of keys'
complete -c nerio -n '__nerio_verb reg find' -l values -d 'Look in the names of values'
complete -c nerio -n '__nerio_verb reg find' -l data -d 'Look in data'
complete -c nerio -n '__nerio_verb reg diff' -F
complete -c nerio -n '__nerio_verb reg rename' -l backup -r -F -d 'Write what undoes it'
complete -c nerio -n '__nerio_verb reg export' -s o -l output -r -F -d 'File to write'
complete -c nerio -n '__nerio_verb reg export' -l utf8 -d 'In UTF-8 with LF, sorted by name'
complete -c nerio -n '__nerio_verb reg set' -l stdin -d 'Take the text from standard input'
complete -c nerio -n '__nerio_verb reg set' -l type -x -a 'dword qword binary expand multi string' -d 'What the value is'
complete -c nerio -n '__nerio_verb reg set' -l backup -r -F -d 'Write what undoes it'
complete -c nerio -n '__nerio_verb reg delete' -s r -l recursive -d 'Delete the keys below the key as well'
complete -c nerio -n '__nerio_verb reg delete' -s y -l yes -d 'Do not ask'
complete -c nerio -n '__nerio_verb reg delete' -l backup -r -F -d 'Write what undoes it'
complete -c nerio -n '__nerio_verb reg import' -s n -l dry-run -d 'Show what would change, and change nothing'
complete -c nerio -n '__nerio_verb reg import' -l from -x -a 'reg ini' -d 'What the file is'
complete -c nerio -n '__nerio_verb reg import' -l below -x -a '(__nerio_keys)' -d 'Key for the sections of an ini file'
complete -c nerio -n '__nerio_verb reg import' -F
complete -c nerio -n '__nerio_verb reg import' -l backup -r -F -d 'Write what undoes it'
complete -c nerio -n '__nerio_verb reg init' -l group -x -a '(__fish_complete_groups)' -d 'Whose members share it'

complete -c nerio -n '__nerio_group trace' -a on -d 'Switch tracing on'
complete -c nerio -n '__nerio_group trace' -a off -d 'Switch tracing off'
complete -c nerio -n '__nerio_group trace' -a status -d 'Tell whether tracing is on'
complete -c nerio -n '__nerio_group trace' -a tail -d 'Show the last lines of the trace file'
complete -c nerio -n '__nerio_verb trace on' -l for-all -d 'Let everybody write to it'
complete -c nerio -n '__nerio_verb trace off' -s y -l yes -d 'Do not ask'
complete -c nerio -n '__nerio_verb trace tail' -s n -l lines -x -d 'How many lines'
complete -c nerio -n '__nerio_verb trace tail' -s f -l follow -d 'Keep showing new lines'

complete -c nerio -n '__nerio_verb guid' -s n -l count -x -d 'How many'

complete -c nerio -n '__nerio_verb msg' -a ErrNullOrEmptyParameter -d 'A required parameter is null or empty'
complete -c nerio -n '__nerio_verb msg' -a ErrUnsupportedInitMessageVersion -d 'A version is not supported'
complete -c nerio -n '__nerio_verb msg' -a ErrFeatureNotAvailable -d 'A feature is not there'

complete -c nerio -n '__nerio_group base64' -a encode -d 'Encode a text'
complete -c nerio -n '__nerio_group base64' -a decode -d 'Decode Base64'
complete -c nerio -n '__nerio_verb base64 encode' -l bytes -d 'Encode the bytes as they are'
complete -c nerio -n '__nerio_verb base64 decode' -l bytes -d 'Give the bytes as they are'

complete -c nerio -n '__nerio_group xml' -a check -d 'Tell whether files are well-formed XML'
complete -c nerio -n '__nerio_group xml' -a get -d 'Print the text of an element, or the value of an attribute'
complete -c nerio -n '__nerio_group xml' -a delete -d 'Delete an element, or an attribute'
complete -c nerio -n '__nerio_group xml' -a format -d 'Indent the elements of a file'
complete -c nerio -n '__nerio_group xml' -a new -d 'Make a new file with one element'
complete -c nerio -n '__nerio_group xml' -a set -d 'Set an attribute of an element'
complete -c nerio -n '__nerio_group xml' -a add -d 'Append an element to another'
complete -c nerio -n '__nerio_verb xml check' -F
complete -c nerio -n '__nerio_verb xml get' -F
complete -c nerio -n '__nerio_verb xml set' -l backup -r -F -d 'File for what it was before'
complete -c nerio -n '__nerio_verb xml delete' -l backup -r -F -d 'File for what it was before'
complete -c nerio -n '__nerio_verb xml delete' -s y -l yes -d 'Do not ask'
complete -c nerio -n '__nerio_verb xml delete' -F
complete -c nerio -n '__nerio_verb xml format' -l backup -r -F -d 'File for what it was before'
complete -c nerio -n '__nerio_verb xml format' -F
complete -c nerio -n '__nerio_verb xml new' -F
complete -c nerio -n '__nerio_verb xml set' -F
complete -c nerio -n '__nerio_verb xml add' -F
