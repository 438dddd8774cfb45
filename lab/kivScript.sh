#!/bin/sh
# Starts the shell for a program that sends it command lines and reads an answer to each.
exec /usr/sbin/kiv.bin --session
