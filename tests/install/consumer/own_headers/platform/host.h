#error "a header of the program's own, which the library must not include"
