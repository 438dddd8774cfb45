// Nothing but the headers that the tests have compiled in advance.
