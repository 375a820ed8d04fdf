" A compiler plug-in: put it into ~/.vim/compiler/; then `:compiler qv4` and `:make` preprocess the current file.
let current_compiler = 'qv4'

let $LKS_ERR_FORMAT = '%f:%l:%c: error: %s [%n]'
let $LKS_WARN_FORMAT = '%f:%l:%c: warning: %s [%n]'
let $LKS_MSG_FORMAT = '%f:%l:%c: note: %s'

CompilerSet makeprg=qv4-cpp\ -E1\ -I.\ %:S\ %:r:S.i

" Of a message that arose in the text of a macro, the macro's name stands in the place of the file, with column 0: the
" pattern's head says no to that, and the line is shown without a place. The column may be absent.
CompilerSet errorformat=%\\%%(%[0-9A-Za-z_$]%\\+:%\\d%\\+:0:%\\)%\\@!%f:%l:%c:\ %t%*[a-z]:\ %m
CompilerSet errorformat+=%f:%l::\ %t%*[a-z]:\ %m
