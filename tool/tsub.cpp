// The command's entry.
int main() {
    return 0;
}
