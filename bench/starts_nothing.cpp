// A program that links nothing but the C library.
int main() { return 0; }
