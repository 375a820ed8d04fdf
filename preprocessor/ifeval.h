// The evaluator of `#if`, `#elif` and `#assert` expressions.
#ifndef PREPROCESSOR_IFEVAL_H
#define PREPROCESSOR_IFEVAL_H

// Reads the expression from the input; its first unit is still unread. Returns nonzero for true. The
// newline that ended the expression is read again by the caller; after a failure, which counts as
// true, the rest of the line is unread. Raises 117 to 134, 174, 175, 990, 1486, 1500, 2035.
int eval_if();

#endif
