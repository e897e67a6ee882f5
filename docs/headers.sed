# Turns the comments of our headers, which are written to be read there, into what doxygen reads.

# Only comments of their own lines, and of those not the examples.
\%^ *///( |$)%!b
\%^ *///     %b

# Plain text has no markup.
s/[\\<>%#@$&]/\\&/g

# "name   what it is", for one or more parameters: doxygen checks that there are such.
s%^( *///)   ([A-Za-z]+(, [A-Za-z]+)*)   +%\1 @param \2 %

# Each topic is a paragraph.
s%^( *///) ((Threads|Ownership|Errors|Limits|Order|Lifetimes|Deadlocks|When not)(, [A-Z][a-z]+)*:) %\1\n\1 **\2** %

# What a header begins with is about the file.
1s%^/// %/// @file\n/// %
