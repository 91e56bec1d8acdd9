// Nothing of its own: the program's precompiled headers are those of the tests.
int main() {}
