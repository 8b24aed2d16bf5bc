// Nothing at all, with the libraries of wardenlink: what a start costs that does no work.

int main()
{
    return 1;
}
