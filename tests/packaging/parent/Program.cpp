bool startsHost(const char* program);

int main(int, char** arguments) {
    return startsHost(arguments[1]) ? 0 : 1;
}
