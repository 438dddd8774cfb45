# A page that is written by hand, with the date and the release of the others.
{
    gsub(/@DATE@/, date)
    gsub(/@RELEASE@/, release)
    print
}
