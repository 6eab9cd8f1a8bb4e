// The program for which the headers are compiled. It does nothing.
int main()
{
    return 0;
}
