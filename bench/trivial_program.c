/* Ends at once, so that a launch is all that is measured. */
int main(void)
{
    return 0;
}
