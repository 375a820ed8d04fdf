;;; qv4.el --- M-x compile with messages of qv4-cpp -*- lexical-binding: t -*-

;; Load it from the init file: (load "qv4.el")

(require 'compile)

(setenv "LKS_ERR_FORMAT" "%f:%l:%c: error: %s [%n]")
(setenv "LKS_WARN_FORMAT" "%f:%l:%c: warning: %s [%n]")
(setenv "LKS_MSG_FORMAT" "%f:%l:%c: note: %s")

;; A file, a line, and a column that may be absent. A column of 0 counts only behind what no macro's name can be: the
;; message arose in the text of a macro then, and the macro's name stands in the place of the file.
(setq compilation-error-regexp-alist-alist
      (append
       '((qv4 "^\\([^:\n]+\\):\\([0-9]+\\):\\([1-9][0-9]*\\)?: \\(?:error\\|\\(warning\\)\\|\\(note\\)\\): " 1 2 3 (4 . 5))
         (qv4-0 "^\\([^:\n]*[./][^:\n]*\\):\\([0-9]+\\):0: \\(?:error\\|\\(warning\\)\\|\\(note\\)\\): " 1 2 nil (3 . 4)))
       compilation-error-regexp-alist-alist))

;; `gnu' would take the macro's name for a file. What gcc writes is found by `qv4' as well.
(setq compilation-error-regexp-alist (append '(qv4 qv4-0) (remq 'gnu compilation-error-regexp-alist)))
