// A process that does nothing: what it costs is what it links.

int main() {}
