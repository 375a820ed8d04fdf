" check.vim: preprocesses the current file and writes what the quickfix list holds to the file `found`.
set runtimepath+=.
compiler qv4
silent make!
let kinds = {'e': 'error', 'w': 'warning', 'n': 'note'}
let found = []
for entry in filter(getqflist(), 'v:val.valid')
  call add(found, join([bufname(entry.bufnr), entry.lnum, entry.col, kinds[entry.type]]))
endfor
call writefile(found, 'found')

" The same from a file of messages.
let made = getqflist()
cgetfile messages
call writefile(filter(getqflist(), 'v:val.valid') == filter(made, 'v:val.valid') ? [] : ['another list'], 'differs')
cfile messages
call writefile([expand('%') . ' ' . line('.')], 'place')
qall!
