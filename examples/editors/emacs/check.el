;;; check.el --- compiles wrong.c and prints what M-x next-error would go to -*- lexical-binding: t -*-
(load (expand-file-name "qv4.el"))
(let ((buffer (compile "qv4-cpp -E1 -I. wrong.c wrong.i")))
  (while (get-buffer-process buffer) (accept-process-output nil 0.1))
  (with-current-buffer buffer
    (compilation--ensure-parse (point-max))
    (goto-char (point-min))
    (while (not (eobp))
      (let ((message (get-text-property (point) 'compilation-message)))
        (when (and message (compilation--message->loc message))
          (let ((loc (compilation--message->loc message)))
            (princ (format "%s %s %s %s\n"
                           (caar (compilation--loc->file-struct loc))
                           (compilation--loc->line loc)
                           (or (compilation--loc->col loc) 0)
                           (aref ["note" "warning" "error"] (compilation--message->type message)))))))
      (forward-line))))
