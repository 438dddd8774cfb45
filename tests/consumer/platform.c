/* Uses the services of the switch without the library. */
#include <stdio.h>
#include <string.h>

#include <kiv/platform/syserr.h>
#include <kiv/platform/uriparse.h>

int main(void)
{
    puts(syserr2str(KIV_ERROR_FILE_MISSING));
    return uri_map_get_uri_type_from_scheme("bootflash") == URI_TYPE_BOOTFLASH ? 0 : 1;
}
