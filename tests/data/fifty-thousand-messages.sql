INSERT INTO orvex.messages (record_uuid, voicemail_id, conversation_id, type, provider, mailbox, sender, created, duration,
    read, sensitive, rtt, transcription, message_file, sim_id, quality)
SELECT gen_random_uuid(), CASE WHEN n <= 50 THEN n END, gen_random_uuid(), 1, CASE WHEN n <= 50 THEN 1 ELSE 2 END, 0,
    int8send(n), 0, 0, false, false, false, 0, 'file:///m', '', 1
FROM generate_series(1, 50000) n;
ANALYZE orvex.messages;
