// The tests' precompiled headers belong to a program, so that they are compiled as programs are.
int main() { return 0; }
