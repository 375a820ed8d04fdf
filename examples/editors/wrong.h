

#undef 1
